#ifndef ORAVO_VISION_DETAIL_PRECISE_STATISTICS_H
#define ORAVO_VISION_DETAIL_PRECISE_STATISTICS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::vision::detail::precise {

/// Standard deviation of a normal distribution over the median of its absolute value, and over its first quartile.
constexpr double kSigmaPerMedian = 1.4826;
constexpr double kSigmaPerQuartile = 3.1383;

/// sqrt(a^2 + b^2), from operations that round alike everywhere.
inline double lengthOf(double a, double b) {
    return std::sqrt(a * a + b * b);
}

inline double medianOf(std::vector<float>& values) {
    return quantile(values, 0.5);
}

/// The median magnitude of many values, from some of them: every s-th and (s + 1)-th in turn, so that no column of an image is
/// preferred. From 10,000 on it is known to 1 %.
inline double medianMagnitude(const float* values, std::size_t count, std::vector<float>& work) {
    constexpr std::size_t kEnough = 16384;
    const std::size_t step = 1 + count / (kEnough + 1);
    work.clear();
    bool more = false;
    for (std::size_t i = 0; i < count; i += step + (more ? 1 : 0)) {
        work.push_back(std::abs(values[i]));
        more = step > 1 && !more;
    }
    return medianOf(work);
}

}  // namespace oravo::vision::detail::precise

#endif
