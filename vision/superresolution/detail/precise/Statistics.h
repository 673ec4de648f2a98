#ifndef ORAVO_VISION_DETAIL_PRECISE_STATISTICS_H
#define ORAVO_VISION_DETAIL_PRECISE_STATISTICS_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace oravo::vision::detail::precise {

/// Standard deviation of a normal distribution over the median of its absolute value, and over its first quartile.
constexpr double kSigmaPerMedian = 1.4826;
constexpr double kSigmaPerQuartile = 3.1383;

/// The value below which a share of the values lies, which are reordered; 0 without any.
inline double quantileOf(std::vector<float>& values, double share) {
    if (values.empty()) return 0.0;
    const auto at =
        values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), at, values.end());
    return *at;
}

/// sqrt(a^2 + b^2), from operations that round alike everywhere.
inline double lengthOf(double a, double b) {
    return std::sqrt(a * a + b * b);
}

inline double medianOf(std::vector<float>& values) {
    return quantileOf(values, 0.5);
}

}  // namespace oravo::vision::detail::precise

#endif
