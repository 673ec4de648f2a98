#ifndef ORAVO_VISION_DETAIL_NUMERICS_REDUCTIONS_H
#define ORAVO_VISION_DETAIL_NUMERICS_REDUCTIONS_H

#include <cstddef>

#include "vision/superresolution/detail/numerics/LaneSum.h"

namespace oravo::vision::detail {

/// Sums of the solver in double precision, products included.
struct DoubleSums {
    using Scalar = double;

    static double sum(const float* a, std::ptrdiff_t n) {
        LaneSum sum;
        sum.add(n, [a](std::ptrdiff_t i) { return static_cast<double>(a[i]); });
        return sum.total();
    }
    static double dot(const float* a, const float* b, std::ptrdiff_t n) {
        LaneSum sum;
        sum.add(n,
                [a, b](std::ptrdiff_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
        return sum.total();
    }
    /// Sum of (a - mean)^2, the differences taken in single precision.
    static double squaredDeviations(const float* a, float mean, std::ptrdiff_t n) {
        LaneSum sum;
        sum.add(n, [a, mean](std::ptrdiff_t i) {
            const double difference = a[i] - mean;
            return difference * difference;
        });
        return sum.total();
    }
};

/// Sums of the solver in single precision, in the order of the index. Their rounding is part of the reference
/// results, so they must not be split into lanes.
struct SequentialFloatSums {
    using Scalar = float;

    static float sum(const float* a, std::ptrdiff_t n) {
        float sum = 0.0f;
        for (std::ptrdiff_t i = 0; i < n; ++i) sum += a[i];
        return sum;
    }
    static float dot(const float* a, const float* b, std::ptrdiff_t n) {
        float sum = 0.0f;
        for (std::ptrdiff_t i = 0; i < n; ++i) sum += a[i] * b[i];
        return sum;
    }
    /// Sum of (a - mean)^2.
    static float squaredDeviations(const float* a, float mean, std::ptrdiff_t n) {
        float sum = 0.0f;
        for (std::ptrdiff_t i = 0; i < n; ++i) sum += (a[i] - mean) * (a[i] - mean);
        return sum;
    }
};

}  // namespace oravo::vision::detail

#endif
