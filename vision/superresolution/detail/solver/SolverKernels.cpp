// Compiled once per instruction set, with ORAVO_KERNELS naming the copy. Per pixel the operations and their
// order are those of the general operators (SparseOperators.cpp, TotalVariation.cpp); sums run over the lanes
// of LaneSum.

#include "vision/superresolution/detail/solver/SolverKernels.h"

#include "vision/superresolution/detail/numerics/LaneSum.h"

namespace oravo::vision::detail {
namespace {

// One row of a split image: its two halves.
struct ConstRow {
    const float* even;
    const float* odd;
};
struct Row {
    float* even;
    float* odd;
};

inline ConstRow rowOf(const SplitLayout& layout, const float* image, int y) {
    const float* even = image + layout.stride * y;
    return {even, even + layout.half};
}

inline Row rowOf(const SplitLayout& layout, float* image, int y) {
    float* even = image + layout.stride * y;
    return {even, even + layout.half};
}

/// Lets the compiler see that a length is a multiple of its widest vector, and leave out the rest of a loop.
inline std::ptrdiff_t wholeBlocks(std::ptrdiff_t n) {
    return n & -static_cast<std::ptrdiff_t>(SplitLayout::kBlock);
}

/// Writes zeros after the columns of a row.
void clearPads(const SplitLayout& layout, Row row) {
    for (std::ptrdiff_t i = layout.evenColumns(); i < layout.half; ++i) row.even[i] = 0.0f;
    for (std::ptrdiff_t i = layout.oddColumns(); i < layout.half; ++i) row.odd[i] = 0.0f;
}

// ---- data term ----

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

// ---- total variation ----

inline float straightWeight(const LinkParameters& p, float difference) {
    const float u = __builtin_fabsf(difference);
    const float atMost = u >= p.inverseEpsilon ? p.inverseEpsilon : u;
    return p.negativeInverseWeight / (u <= p.epsilon ? p.epsilon : atMost);
}

inline float obliqueWeight(const LinkParameters& p, float inverseRootTwo, float difference) {
    return 0.5f * straightWeight(p, difference * inverseRootTwo);
}

/// The links of one row, each stored at its upper or left pixel.
struct LinkRow {
    Row east;
    Row south;
    Row southEast;
    Row southWest;
};

inline LinkRow linkRow(const SplitLayout& layout, const SplitLinks& links, int y) {
    float* first = links.memory + 4 * layout.stride * (y + 1);
    return {rowOf(layout, first, 0), rowOf(layout, first, 1), rowOf(layout, first, 2),
            rowOf(layout, first, 3)};
}

/// Computes the links of row y, which point to the right and into row y + 1. Those of the last column read the zeros after
/// it, and are cleared afterwards.
void freezeRow(const SplitLayout& layout, const float* x, const LinkParameters& p, const SplitLinks& links,
               int y) {
    const float inverseRootTwo = 1.0f / __builtin_sqrtf(2.0f);
    const ConstRow here = rowOf(layout, x, y);
    const ConstRow below = rowOf(layout, x, y + 1);
    const int evens = layout.evenColumns();
    const int odds = layout.oddColumns();
    const auto [e, s, se, sw] = linkRow(layout, links, y);

#pragma GCC ivdep
    for (int i = 0; i < evens; ++i) e.even[i] = straightWeight(p, here.odd[i] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i) e.odd[i] = straightWeight(p, here.even[i + 1] - here.odd[i]);
    e.even[evens - 1] = 0.0f;
    if (y + 1 == layout.rows()) return;  // the other links of the last row stay zero, as they were allocated
#pragma GCC ivdep
    for (int i = 0; i < evens; ++i) s.even[i] = straightWeight(p, below.even[i] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i) s.odd[i] = straightWeight(p, below.odd[i] - here.odd[i]);
#pragma GCC ivdep
    for (int i = 0; i < evens; ++i)
        se.even[i] = obliqueWeight(p, inverseRootTwo, below.odd[i] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i)
        se.odd[i] = obliqueWeight(p, inverseRootTwo, below.even[i + 1] - here.odd[i]);
    se.even[evens - 1] = 0.0f;
#pragma GCC ivdep
    for (int i = 0; i < evens; ++i)
        sw.even[i] = obliqueWeight(p, inverseRootTwo, below.odd[i - 1] - here.even[i]);
#pragma GCC ivdep
    for (int i = 0; i < odds; ++i) sw.odd[i] = obliqueWeight(p, inverseRootTwo, below.even[i] - here.odd[i]);
    sw.even[0] = 0.0f;
}

/// Row y of L v, from the links of rows y and y - 1. The diagonal is the negated sum of all links of a pixel.
void stencilRow(const SplitLayout& layout, const SplitLinks& links, const float* v, int y, Row out) {
    const ConstRow above = rowOf(layout, v, y - 1);
    const ConstRow here = rowOf(layout, v, y);
    const ConstRow below = rowOf(layout, v, y + 1);
    const auto [e, s, se, sw] = linkRow(layout, links, y);
    const LinkRow n = linkRow(layout, links, y - 1);
    const std::ptrdiff_t count = wholeBlocks(layout.half);
#pragma GCC ivdep
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const float west = e.odd[i - 1];
        const float between = e.even[i];
        const float east = e.odd[i];
        const float evenNorth = n.south.even[i];
        const float evenNorthWest = n.southEast.odd[i - 1];
        const float evenNorthEast = n.southWest.odd[i];
        const float evenDiagonal = -(west + between + evenNorth + s.even[i] + evenNorthWest + se.even[i] +
                                     evenNorthEast + sw.even[i]);
        const float oddNorth = n.south.odd[i];
        const float oddNorthWest = n.southEast.even[i];
        const float oddNorthEast = n.southWest.even[i + 1];
        const float oddDiagonal =
            -(between + east + oddNorth + s.odd[i] + oddNorthWest + se.odd[i] + oddNorthEast + sw.odd[i]);
        const float even = evenDiagonal * here.even[i] + between * here.odd[i] + west * here.odd[i - 1] +
                           s.even[i] * below.even[i] + evenNorth * above.even[i] + se.even[i] * below.odd[i] +
                           evenNorthWest * above.odd[i - 1] + sw.even[i] * below.odd[i - 1] +
                           evenNorthEast * above.odd[i];
        const float odd = oddDiagonal * here.odd[i] + east * here.even[i + 1] + between * here.even[i] +
                          s.odd[i] * below.odd[i] + oddNorth * above.odd[i] + se.odd[i] * below.even[i + 1] +
                          oddNorthWest * above.even[i] + sw.odd[i] * below.even[i] +
                          oddNorthEast * above.even[i + 1];
        out.even[i] = even;
        out.odd[i] = odd;
    }
}

// ---- whole images ----

void addProducts(LaneSum& sum, const float* a, const float* b, std::ptrdiff_t n) {
    sum.add(wholeBlocks(n),
            [a, b](std::ptrdiff_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
}

/// Adds the data term to row y, once all shares of it have been spread vertically.
void finishRow(const SweepPlan& plan, int y, Row row) {
    addAllShares(plan, y, row);
    clearPads(plan.layout, row);
}

double backProject(const SweepPlan& plan, float* out, float* copy) {
    const SplitLayout& layout = plan.layout;
    LaneSum sum;
    for (int y = 0; y < layout.rows(); ++y) {
        const int r = y / 2;
        for (int k = 0; y % 2 == 0 && k < plan.frameCount; ++k) {
            const SweepFrame& frame = plan.frames[k];
            if (r < layout.lowHeight) {
                const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(r) * layout.lowWidth;
                readMask(frame.mask + first, layout.lowWidth, plan.factors);
                float* masked = newMaskedRow(plan, frame, r);
                for (int c = 0; c < layout.lowWidth; ++c)
                    masked[c] = plan.factors[c] * frame.samples[first + c];
            }
            spreadVertically(plan, frame, r);
        }
        const Row row = rowOf(layout, out, y);
        for (std::ptrdiff_t i = 0; i < layout.stride; ++i) row.even[i] = 0.0f;
        finishRow(plan, y, row);
        addProducts(sum, row.even, row.even, layout.stride);
        float* copied = copy + layout.stride * y;
        for (std::ptrdiff_t i = 0; i < layout.stride; ++i) copied[i] = row.even[i];
    }
    return sum.total();
}

/// out = A v in one sweep over the rows for all frames: rows 2 r + 4 and 2 r + 5 of v complete sample row r and with it
/// rows 2 r and 2 r + 1 of the result. Intermediate results are a few rows, which fit the first-level cache.
/// Three callbacks work on rows while they are in the cache: enter(y) before row y of v is read for the first time,
/// link(y) before the links of row y are read, leave(y) when row y of the result is complete.
template <class Enter, class Link, class Leave>
inline void sweep(const SweepPlan& plan, const SplitLinks& links, const SweptImages& in, float* out,
                  Enter enter, Link link, Leave leave) {
    const SplitLayout& layout = plan.layout;
    const float* v = in.operand;
    const auto complete = [&](int y) {
        const Row row = rowOf(layout, out, y);
        link(y);
        stencilRow(layout, links, v, y, row);
        finishRow(plan, y, row);
        leave(y);
    };
    for (int r = -2; r < layout.lowHeight; ++r) {
        const int y = 2 * r;
        SweepPrefetcher ahead = in.prefetcher(layout, links, y);
        enter(y + 4);
        enter(y + 5);
        const ConstRow a = rowOf(layout, v, y + 4);
        const ConstRow b = rowOf(layout, v, y + 5);
        for (int k = 0; k < plan.frameCount; ++k) {
            if (r < 0) {
                correlateRows<false>(plan, plan.frames[k], a, b, r, ahead);
            } else {
                correlateRows<true>(plan, plan.frames[k], a, b, r, ahead);
                clearSpreadPads(plan, plan.frames[k]);
            }
        }
        if (r < 0) continue;
        complete(y);
        complete(y + 1);
    }
    enter(layout.rows() - 1);
    for (int y = 2 * layout.lowHeight; y < layout.rows(); ++y) {
        for (int k = 0; y % 2 == 0 && k < plan.frameCount; ++k) spreadVertically(plan, plan.frames[k], y / 2);
        complete(y);
    }
}

void updateEstimateRow(const StepVectors& vectors, std::ptrdiff_t first, std::ptrdiff_t n, float alpha) {
    float* __restrict x = vectors.estimate + first;
    const float* __restrict d = vectors.direction + first;
    for (std::ptrdiff_t i = 0; i < n; ++i) x[i] += alpha * d[i];
}

void updateDirectionRow(const StepVectors& vectors, std::ptrdiff_t first, std::ptrdiff_t n, float beta) {
    float* __restrict d = vectors.direction + first;
    const float* __restrict r = vectors.residual + first;
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i] = beta * d[i] + r[i];
}

double startResidual(const SweepPlan& plan, const SplitLinks& links, const LinkParameters& parameters,
                     const StepVectors& vectors, const float* rightSide, const float* alpha) {
    const SplitLayout& layout = plan.layout;
    const std::ptrdiff_t n = wholeBlocks(layout.stride);
    LaneSum sum;
    sweep(
        plan, links, {vectors.estimate, {rightSide, alpha == nullptr ? nullptr : vectors.direction}},
        vectors.residual,
        [&](int y) {
            if (alpha != nullptr) updateEstimateRow(vectors, n * y, n, *alpha);
        },
        [&](int y) { freezeRow(layout, vectors.estimate, parameters, links, y); },
        [&](int y) {
            const float* __restrict b = rightSide + n * y;
            float* __restrict r = vectors.residual + n * y;
            float* __restrict d = vectors.direction + n * y;
            for (std::ptrdiff_t i = 0; i < n; ++i) d[i] = r[i] = b[i] - r[i];
            addProducts(sum, r, r, n);
        });
    return sum.total();
}

double applyOperator(const SweepPlan& plan, const SplitLinks& links, const StepVectors& vectors,
                     DeferredUpdates deferred) {
    const std::ptrdiff_t n = wholeBlocks(plan.layout.stride);
    const auto [alpha, beta] = deferred;
    LaneSum sum;
    sweep(
        plan, links,
        {vectors.direction,
         {alpha == nullptr ? nullptr : vectors.estimate, beta == nullptr ? nullptr : vectors.residual}},
        vectors.image,
        [&, alpha = alpha, beta = beta](int y) {
            if (alpha != nullptr) updateEstimateRow(vectors, n * y, n, *alpha);
            if (beta != nullptr) updateDirectionRow(vectors, n * y, n, *beta);
        },
        [](int) {}, [&](int y) { addProducts(sum, vectors.direction + n * y, vectors.image + n * y, n); });
    return sum.total();
}

double reduceResidual(const SplitLayout& layout, const StepVectors& vectors, float alpha) {
    const std::ptrdiff_t n = wholeBlocks(layout.stride);
    float* __restrict r = vectors.residual;
    const float* __restrict q = vectors.image;
    LaneSum sum;
    for (int y = 0; y < layout.rows(); ++y, r += n, q += n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) r[i] -= alpha * q[i];
        addProducts(sum, r, r, n);
    }
    return sum.total();
}

void updateEstimate(const SplitLayout& layout, const StepVectors& vectors, float alpha) {
    const std::ptrdiff_t n = wholeBlocks(layout.stride);
    for (int y = 0; y < layout.rows(); ++y) updateEstimateRow(vectors, n * y, n, alpha);
}

}  // namespace

extern const SolverKernels ORAVO_KERNELS;
const SolverKernels ORAVO_KERNELS = {backProject, startResidual, applyOperator, reduceResidual,
                                     updateEstimate};

}  // namespace oravo::vision::detail
