#include "tools/values/Decode.h"

#include <algorithm>
#include <cmath>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "vision/superresolution/detail/defects/StatusCodes.h"

namespace oravo::tools {

using vision::detail::isStatusCode;

bool isValue(float pixel) {
    return std::isfinite(pixel) && !isStatusCode(pixel);
}

cv::Mat_<float> Decode::operator()(const cv::Mat& stored) const {
    if (stored.depth() == CV_32F && isIdentity()) return stored.clone();
    cv::Mat_<double> numbers;
    stored.convertTo(numbers, CV_64F);
    const double shift = std::ldexp(1.0, -shiftRight);
    cv::Mat_<float> result(stored.size());
    std::transform(numbers.begin(), numbers.end(), result.begin(), [&](double v) {
        const double number = shiftRight == 0 ? v : std::floor(v * shift);
        return static_cast<float>(scale * number + offset);
    });
    if (stored.depth() == CV_32F) {
        const cv::Mat_<float> original = stored;
        std::transform(original.begin(), original.end(), result.begin(), result.begin(),
                       [](float before, float after) { return isStatusCode(before) ? before : after; });
    }
    return result;
}

cv::Mat_<float> Decode::operator()(const cv::Mat& stored, const std::string& name) const {
    if (shiftRight == 0 || stored.depth() < CV_32F) return (*this)(stored);
    cv::Mat_<double> numbers;
    stored.convertTo(numbers, CV_64F);
    for (int y = 0; y < numbers.rows; ++y) {
        for (int x = 0; x < numbers.cols; ++x) {
            const double v = numbers(y, x);
            if (!isValue(static_cast<float>(v)) || v == std::floor(v)) continue;
            throw inputError(
                format("%s: %g at column %d, row %d is no whole number; --shift-right drops bits of counts",
                       name.c_str(), v, x, y));
        }
    }
    return (*this)(stored);
}

cv::Mat_<double> Decode::stored(const cv::Mat_<float>& values) const {
    const double step = std::ldexp(1.0, shiftRight);
    cv::Mat_<double> numbers(values.size());
    std::transform(values.begin(), values.end(), numbers.begin(),
                   [&](float value) { return (static_cast<double>(value) - offset) / scale * step; });
    return numbers;
}

}  // namespace oravo::tools
