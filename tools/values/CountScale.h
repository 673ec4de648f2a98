#ifndef ORAVO_TOOLS_VALUES_COUNTSCALE_H
#define ORAVO_TOOLS_VALUES_COUNTSCALE_H

#include <cstddef>
#include <opencv2/core.hpp>
#include <optional>

namespace oravo::tools {

/// How values become 16-bit counts: value = offset + scale * count. The count 0 stands for no value.
struct CountScale {
    static constexpr double kMost = 65535.0;

    double scale = 1.0;
    double offset = 0.0;
};

/// What is given of it; the rest follows from the values.
struct CountScaleChoice {
    std::optional<double> scale;  ///< above 0
    std::optional<double> offset;

    /// The scale is the finest of 1, 2 or 5 times a power of ten by which all values fit, but no finer than floats are; the
    /// offset a multiple of 1000 steps below them, so that both are short decimals.
    CountScale forValues(const cv::Mat_<float>& image) const;
};

struct Counts {
    cv::Mat_<ushort> numbers;
    std::size_t below = 0;  ///< values that became the lowest count, since they lie beneath it
    std::size_t above = 0;  ///< likewise the highest
};

/// To the nearest count; NaN becomes 0.
Counts countsOf(const cv::Mat_<float>& image, const CountScale& scale);

}  // namespace oravo::tools

#endif
