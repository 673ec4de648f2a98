#include "tools/values/CountScale.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

constexpr double kStepsOfOffset = 1000.0;
constexpr double kUsedCounts = 64000.0;      // the rest is for an offset rounded down
constexpr double kFinestShare = 0x1p-24;     // of the largest value, by which floats differ
constexpr double kWithoutContrast = 1.0e-3;  // where all values are 0
constexpr double kLowestCount = 1.0;

struct Extremes {
    double low = 0.0, high = 0.0;
};

Extremes extremesOf(const cv::Mat_<float>& image) {
    Extremes found;
    bool any = false;
    for (const float value : image) {
        if (!std::isfinite(value)) continue;
        const double v = static_cast<double>(value);
        found = any ? Extremes{std::min(found.low, v), std::max(found.high, v)} : Extremes{v, v};
        any = true;
    }
    return found;
}

/// The double nearest to a short decimal, which no product of doubles need be.
double decimal(double digits, int exponent) {
    return std::strtod(format("%.0fe%d", digits, exponent).c_str(), nullptr);
}

struct Step {
    int digit;  // 1, 2 or 5
    int exponent;
    double value() const { return decimal(digit, exponent); }
};

/// The smallest one that is not below.
Step roundStep(double least) {
    const int exponent = static_cast<int>(std::floor(std::log10(least)));
    for (const int digit : {1, 2, 5}) {
        const Step step{digit, exponent};
        if (step.value() >= least) return step;
    }
    return {1, exponent + 1};
}

double roundOffset(double low, const Step& step) {
    const double coarse = kStepsOfOffset * step.value();
    const double multiples = std::floor((low - kLowestCount * step.value()) / coarse);
    return decimal(multiples * kStepsOfOffset * step.digit, step.exponent);
}

}  // namespace

CountScale CountScaleChoice::forValues(const cv::Mat_<float>& image) const {
    const Extremes values = extremesOf(image);
    const double largest = std::max(std::abs(values.low), std::abs(values.high));
    const double bottom = offset.value_or(values.low);
    const double least = std::max((values.high - bottom) / kUsedCounts, largest * kFinestShare);
    const Step step = roundStep(least > 0.0 ? least : kWithoutContrast);
    if (!scale) return {step.value(), offset.value_or(roundOffset(values.low, step))};
    if (offset) return {*scale, *offset};
    return {*scale, std::floor(values.low / *scale - kLowestCount) * *scale};
}

Counts countsOf(const cv::Mat_<float>& image, const CountScale& scale) {
    Counts counts{cv::Mat_<ushort>(image.size())};
    std::transform(image.begin(), image.end(), counts.numbers.begin(), [&](float value) {
        if (std::isnan(value)) return ushort{0};
        const double count = std::nearbyint((static_cast<double>(value) - scale.offset) / scale.scale);
        counts.below += count < kLowestCount ? 1 : 0;
        counts.above += count > CountScale::kMost ? 1 : 0;
        return static_cast<ushort>(std::clamp(count, kLowestCount, CountScale::kMost));
    });
    return counts;
}

}  // namespace oravo::tools
