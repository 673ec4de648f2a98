#ifndef ORAVO_VISION_DETAIL_REDUCTIONS_H
#define ORAVO_VISION_DETAIL_REDUCTIONS_H

#include <cstddef>

namespace oravo::vision::detail {

/// A sum in double precision over 16 lanes, element i going to lane i mod 16, combined in a fixed tree. The
/// lanes let the compiler use vectors of any width; their number and tree do not depend on it, so neither do
/// the bits.
class LaneSum {
  public:
    static constexpr int kLanes = 16;

    /// Adds term(i) for i = 0 .. n - 1, starting at lane 0.
    template <class Term>
    void add(std::ptrdiff_t n, Term term) {
        std::ptrdiff_t i = 0;
        for (; i + kLanes <= n; i += kLanes) {
            for (int lane = 0; lane < kLanes; ++lane) lanes_[lane] += term(i + lane);
        }
        for (int lane = 0; i < n; ++i, ++lane) lanes_[lane] += term(i);
    }

    double total() const {
        double tree[kLanes];
        for (int lane = 0; lane < kLanes; ++lane) tree[lane] = lanes_[lane];
        for (int half = kLanes / 2; half > 0; half /= 2) {
            for (int lane = 0; lane < half; ++lane) tree[lane] += tree[lane + half];
        }
        return tree[0];
    }

  private:
    double lanes_[kLanes] = {};
};

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
