#include "tools/report/ValueGrid.h"

#include <algorithm>
#include <cmath>

#include "tools/values/Decode.h"

namespace oravo::tools {
namespace {

constexpr double kCodes =
    65532.0;  // steps that the span may hold; the offset is rounded down by up to one more

/// The smallest of 1, 2 and 5 times a power of ten that is no smaller, but for the last bits.
double roundStep(double least) {
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double digit : {1.0, 2.0, 5.0}) {
        if (digit * power >= least * (1.0 - 1e-9)) return digit * power;
    }
    return 10.0 * power;
}

}  // namespace

ValueGrid::ValueGrid(const cv::Mat_<float>& image, int most, double finest) {
    while ((image.rows + stride - 1) / stride * ((image.cols + stride - 1) / stride) > most) ++stride;
    float lowest = 0.0f, highest = 0.0f;
    bool any = false;
    for (const float value : image) {
        if (!isValue(value)) continue;
        lowest = any ? std::min(lowest, value) : value;
        highest = any ? std::max(highest, value) : value;
        any = true;
    }
    const double span = static_cast<double>(highest) - static_cast<double>(lowest);
    const double digits =
        1e-7 * std::max(std::abs(static_cast<double>(lowest)), std::abs(static_cast<double>(highest)));
    step = roundStep(std::max({span / kCodes, finest, digits, 1e-30}));
    decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    offset = step * std::floor(static_cast<double>(lowest) / step);
    codes.create((image.rows + stride - 1) / stride, (image.cols + stride - 1) / stride);
    codes.forEach([&](std::uint16_t& code, const int* at) {
        const float value = image(at[0] * stride, at[1] * stride);
        code = isValue(value)
                   ? static_cast<std::uint16_t>(std::lround((static_cast<double>(value) - offset) / step))
                   : kNoValue;
    });
}

std::vector<uchar> ValueGrid::bytes() const {
    std::vector<uchar> all;
    all.reserve(2 * codes.total());
    for (const std::uint16_t code : codes) {
        all.push_back(static_cast<uchar>(code & 255u));
        all.push_back(static_cast<uchar>(code >> 8));
    }
    return all;
}

double harmlessStep(double deviation) {
    return deviation > 0.0 && std::isfinite(deviation)
               ? std::pow(10.0, std::floor(std::log10(deviation)) - 1.0)
               : 0.0;
}

}  // namespace oravo::tools
