#ifndef ORAVO_VISION_DETAIL_SOLVER_DATATERMROWS_H
#define ORAVO_VISION_DETAIL_SOLVER_DATATERMROWS_H

#include "vision/superresolution/detail/solver/SolverKernels.h"
#include "vision/superresolution/detail/solver/SplitRows.h"

// The data term of the operator, row by row. A part of SolverKernels.cpp, and so compiled once per instruction set: only
// that source may include it.

namespace oravo::vision::detail {
namespace {

// NOLINTBEGIN(misc-definitions-in-headers): one source includes them, and they have no external linkage.

/// The factors of a row of a mask.
void readMask(const char* __restrict mask, int lowWidth, float* __restrict factors) {
    for (int c = 0; c < lowWidth; ++c) factors[c] = static_cast<float>(static_cast<signed char>(mask[c]));
}

const float* maskedRow(const SweepPlan& plan, const SweepFrame& frame, int r) {
    if (r < 0 || r >= plan.layout.lowHeight) return plan.zeroRow;
    return frame.masked + plan.layout.pitch * (r % kMaskedRows);
}

float* newMaskedRow(const SweepPlan& plan, const SweepFrame& frame, int r) {
    return frame.masked + plan.layout.pitch * (r % kMaskedRows);
}

/// Prefetches the memory that a sweep reaches some rows later, a few cache lines at a time between blocks of arithmetic.
/// The links of a row are too many to arrive just in time; prefetched at once they would fill the processor's queue of
/// outstanding lines and delay every later access.
template <int kLines>
class Prefetcher {
  public:
    Prefetcher() = default;
    /// For two rows from `row` on, as far as there are `rows`.
    Prefetcher(const float* memory, std::ptrdiff_t stride, int row, int rows)
        : next_(memory + stride * (row < rows ? row : rows)),
          end_(memory + stride * (row + 2 < rows ? row + 2 : rows)) {}

    void prefetch() {
        if (end_ - next_ < kLines * kLine) return;
#pragma GCC unroll 8
        for (int i = 0; i < kLines; ++i) __builtin_prefetch(next_ + i * kLine, 0, kSecondLevelCache);
        next_ += kLines * kLine;
    }

  private:
    static constexpr std::ptrdiff_t kLine = 16;
    static constexpr int kSecondLevelCache = 2;
    const float* next_ = nullptr;
    const float* end_ = nullptr;
};

/// What the correlations of a sweep prefetch: they take most of its time and hardly touch main memory themselves.
struct SweepPrefetcher {
    Prefetcher<4> links;
    Prefetcher<1> images[3];

    void prefetch() {
        links.prefetch();
        for (Prefetcher<1>& image : images) image.prefetch();
    }
};

/// Images that a sweep reads row by row: the one that the operator is applied to, and up to two more; null for none.
struct SweptImages {
    const float* operand;
    const float* others[2];

    SweepPrefetcher prefetcher(const SplitLayout& layout, const SplitLinks& links, int y) const {
        const int rows = layout.rows();
        SweepPrefetcher ahead;
        ahead.links = {links.memory, 4 * layout.stride, y + 1 + kRowsAhead, rows + 1};
        ahead.images[0] = {operand, layout.stride, y + 6 + kRowsAhead, rows};
        for (int i = 0; i < 2; ++i) {
            if (others[i] != nullptr)
                ahead.images[i + 1] = {others[i], layout.stride, y + 6 + kRowsAhead, rows};
        }
        return ahead;
    }
};

/// Two rows of the image enter the correlations of a frame: their horizontal taps at every second column, and from
/// these the vertical taps of the three sample rows that they reach. The first of the three, r, is then complete: it is
/// masked, and its share of extended rows 2 r and 2 r + 1 is added to the shares of the two sample rows above it. Rows
/// r < 0 lie above the samples, where nothing is complete. The loop runs in blocks so that `ahead` can prefetch between
/// them.
template <bool kComplete>
void correlateRows(const SweepPlan& plan, const SweepFrame& frame, ConstRow a, ConstRow b, int r,
                   SweepPrefetcher& ahead) {
    const float h0 = frame.horizontal[0], h1 = frame.horizontal[1], h2 = frame.horizontal[2],
                h3 = frame.horizontal[3], h4 = frame.horizontal[4], h5 = frame.horizontal[5];
    const float v0 = frame.vertical[0], v1 = frame.vertical[1], v2 = frame.vertical[2],
                v3 = frame.vertical[3], v4 = frame.vertical[4], v5 = frame.vertical[5];
    float* open = frame.open;
    float* nextOpen = frame.open + plan.layout.pitch;
    const float* factors = plan.factors;
    float* masked = kComplete ? newMaskedRow(plan, frame, r) : nullptr;
    const float* masked1 = maskedRow(plan, frame, r - 1);
    const float* masked2 = maskedRow(plan, frame, r - 2);
    float* spread0 = frame.spread[0];
    float* spread1 = frame.spread[1];
    if (kComplete) {
        readMask(frame.mask + static_cast<std::ptrdiff_t>(r) * plan.layout.lowWidth, plan.layout.lowWidth,
                 plan.factors);
    }
    SweepPrefetcher prefetcher = ahead;  // a copy stays in registers
    const std::ptrdiff_t n = wholeBlocks(plan.layout.pitch);
    for (std::ptrdiff_t block = 0; block < n; block += SplitLayout::kBlock) {
        prefetcher.prefetch();
#pragma GCC ivdep
        for (std::ptrdiff_t c = block; c < block + SplitLayout::kBlock; ++c) {
            const float ga = h0 * a.even[c] + h1 * a.odd[c] + h2 * a.even[c + 1] + h3 * a.odd[c + 1] +
                             h4 * a.even[c + 2] + h5 * a.odd[c + 2];
            const float gb = h0 * b.even[c] + h1 * b.odd[c] + h2 * b.even[c + 1] + h3 * b.odd[c + 1] +
                             h4 * b.even[c + 2] + h5 * b.odd[c + 2];
            if (kComplete) {
                const float m0 = factors[c] * (open[c] + v4 * ga + v5 * gb);
                const float m1 = masked1[c];
                const float m2 = masked2[c];
                masked[c] = m0;
                spread0[c] = m0 * v0 + m1 * v2 + m2 * v4;
                spread1[c] = m0 * v1 + m1 * v3 + m2 * v5;
            }
            open[c] = nextOpen[c] + v2 * ga + v3 * gb;
            nextOpen[c] = v0 * ga + v1 * gb;
        }
    }
    ahead = prefetcher;
}

/// Writes zeros after the samples of the spread rows, where loops over whole blocks have left other values.
void clearSpreadPads(const SweepPlan& plan, const SweepFrame& frame) {
    for (float* row : frame.spread) {
        for (int i = 0; i < SplitLayout::kBlock; ++i) row[plan.layout.lowWidth + i] = 0.0f;
    }
}

/// The vertical part of a frame's share of extended rows 2 r and 2 r + 1, from the three sample rows that reach them.
void spreadVertically(const SweepPlan& plan, const SweepFrame& frame, int r) {
    const float* m0 = maskedRow(plan, frame, r);
    const float* m1 = maskedRow(plan, frame, r - 1);
    const float* m2 = maskedRow(plan, frame, r - 2);
    const float v0 = frame.vertical[0], v1 = frame.vertical[1], v2 = frame.vertical[2],
                v3 = frame.vertical[3], v4 = frame.vertical[4], v5 = frame.vertical[5];
    float* even = frame.spread[0];
    float* odd = frame.spread[1];
    const std::ptrdiff_t n = wholeBlocks(plan.layout.pitch);
#pragma GCC ivdep
    for (std::ptrdiff_t c = 0; c < n; ++c) {
        even[c] = m0[c] * v0 + m1[c] * v2 + m2[c] * v4;
        odd[c] = m0[c] * v1 + m1[c] * v3 + m2[c] * v5;
    }
    clearSpreadPads(plan, frame);
}

/// Adds the shares of frames k .. k + N - 1 to extended row y, one frame after the other at every pixel.
template <int N>
void addShares(const SweepPlan& plan, int k, int y, Row out) {
    float h[N][kSplitTaps];
    const float* t[N];
    for (int f = 0; f < N; ++f) {
        const SweepFrame& frame = plan.frames[k + f];
        for (int i = 0; i < kSplitTaps; ++i) h[f][i] = frame.horizontal[i];
        t[f] = frame.spread[y % 2];
    }
    const std::ptrdiff_t n = wholeBlocks(plan.layout.half);
#pragma GCC ivdep
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        float e = out.even[i];
        float o = out.odd[i];
#pragma GCC unroll 8
        for (int f = 0; f < N; ++f) {
            const float t0 = t[f][i], t1 = t[f][i - 1], t2 = t[f][i - 2];
            e += h[f][0] * t0 + h[f][2] * t1 + h[f][4] * t2;
            o += h[f][1] * t0 + h[f][3] * t1 + h[f][5] * t2;
        }
        out.even[i] = e;
        out.odd[i] = o;
    }
}

void addAllShares(const SweepPlan& plan, int y, Row out) {
    static_assert(kFrameGroup == 3, "one or two frames may remain");
    int k = 0;
    for (; k + kFrameGroup <= plan.frameCount; k += kFrameGroup) addShares<kFrameGroup>(plan, k, y, out);
    if (plan.frameCount - k == 2) addShares<2>(plan, k, y, out);
    if (plan.frameCount - k == 1) addShares<1>(plan, k, y, out);
}

// NOLINTEND(misc-definitions-in-headers)

}  // namespace
}  // namespace oravo::vision::detail

#endif
