#include "tools/Calibration.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <numeric>

#include "tools/FrameReader.h"
#include "tools/Messages.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

constexpr float kLowest = std::numeric_limits<short>::lowest();
constexpr float kHighest = std::numeric_limits<short>::max();

cv::Mat readSized(const std::string& path, cv::Size size) {
    const cv::Mat image = readSingleImage(path);
    if (image.size() == size) return image;
    throw inputError(format("%s: is %d x %d pixels, but the frames are %d x %d", path.c_str(), image.cols,
                            image.rows, size.width, size.height));
}

cv::Mat_<float> temperatures(const std::string& numberOrFile, cv::Size size) {
    char* end = nullptr;
    const double number = std::strtod(numberOrFile.c_str(), &end);
    if (numberOrFile.empty() || *end != '\0') return Decode{}(readSized(numberOrFile, size));
    if (!std::isfinite(number)) throw inputError("temperature " + numberOrFile + " is not a finite number");
    return cv::Mat_<float>(size, static_cast<float>(number));
}

}  // namespace

cv::Mat_<short> signedCounts(const cv::Mat_<float>& frame, const std::string& name) {
    cv::Mat_<short> counts(frame.size());
    for (int y = 0; y < frame.rows; ++y) {
        for (int x = 0; x < frame.cols; ++x) {
            const float v = isStatusCode(frame(y, x)) ? 0.0f : frame(y, x);
            if (!(v >= kLowest && v <= kHighest) || v != std::floor(v)) {
                throw inputError(
                    format("%s: %g at column %d, row %d is no signed 16-bit count (a whole number "
                           "from -32768 to 32767; --scale and --offset bring others there)",
                           name.c_str(), static_cast<double>(v), x, y));
            }
            counts(y, x) = static_cast<short>(v);
        }
    }
    return counts;
}

Calibration::Calibration(const std::vector<std::string>& points, const Decode& decode, cv::Size frameSize) {
    const auto counts = [&](const std::string& path) {
        return signedCounts(decode(readSized(path, frameSize)), path);
    };
    const cv::Mat_<short> counts1 = counts(points.at(0));
    const cv::Mat_<float> values1 = temperatures(points.at(1), frameSize);
    const cv::Mat_<short> counts2 = counts(points.at(2));
    const cv::Mat_<float> values2 = temperatures(points.at(3), frameSize);
    lines_ = {counts1, values1, counts2, values2, {"tools/Calibration", __LINE__, "Calibration"}};
    const int pixels = frameSize.area();
    const int same = cv::countNonZero(counts1 == counts2);
    if (2 * same > pixels) {
        throw inputError(
            format("%s and %s hold the same count in %d of %d pixels, which tells no temperature",
                   points[0].c_str(), points[2].c_str(), same, pixels));
    }
    const auto hasNoLine = [](float gain, float offset) { return std::isnan(gain) || std::isnan(offset); };
    const int lost = std::inner_product(lines_.gain.begin(), lines_.gain.end(), lines_.offset.begin(), 0,
                                        std::plus<>(), hasNoLine);
    if (2 * lost > pixels) {
        throw inputError(
            format("calibration: in %d of %d pixels the line leaves the range of gains and offsets "
                   "between -1000 and 1000; --offset can bring the counts nearer to 0",
                   lost, pixels));
    }
    if (same > 0) note(format("calibration: %d pixels with equal counts take their neighbours' line", same));
    if (lost > 0) warn(format("calibration: %d pixels have no line and count as defective", lost));
}

cv::Mat_<float> Calibration::operator()(const cv::Mat_<float>& counts, const std::string& name) const {
    cv::Mat_<float> values;
    lines_.apply(signedCounts(counts, name), values);
    std::transform(counts.begin(), counts.end(), values.begin(), values.begin(),
                   [](float before, float after) { return isStatusCode(before) ? before : after; });
    return values;
}

}  // namespace oravo::tools
