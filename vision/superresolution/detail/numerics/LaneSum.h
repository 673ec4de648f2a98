#ifndef ORAVO_VISION_DETAIL_NUMERICS_LANESUM_H
#define ORAVO_VISION_DETAIL_NUMERICS_LANESUM_H

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
    [[gnu::always_inline]] inline void add(std::ptrdiff_t n, Term term) {
        double lanes[kLanes];  // a copy of its own stays in registers
        for (int lane = 0; lane < kLanes; ++lane) lanes[lane] = lanes_[lane];
        std::ptrdiff_t i = 0;
        for (; i + kLanes <= n; i += kLanes) {
            for (int lane = 0; lane < kLanes; ++lane) lanes[lane] += term(i + lane);
        }
        for (int lane = 0; i < n; ++i, ++lane) lanes[lane] += term(i);
        for (int lane = 0; lane < kLanes; ++lane) lanes_[lane] = lanes[lane];
    }

    [[gnu::always_inline]] inline double total() const {
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

}  // namespace oravo::vision::detail

#endif
