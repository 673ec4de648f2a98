#ifndef ORAVO_VISION_DETAIL_REDUCTIONS_H
#define ORAVO_VISION_DETAIL_REDUCTIONS_H

#include <cstddef>

#include "vision/superresolution/detail/LaneSum.h"

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

}  // namespace oravo::vision::detail

#endif
