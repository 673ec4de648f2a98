// Compiled once per instruction set, with ORAVO_KERNELS naming the copy. Per pixel the operations and their
// order are those of the general operators (SparseOperators.cpp, TotalVariation.cpp); sums run over the lanes
// of LaneSum.

#include "vision/superresolution/detail/SolverKernels.h"

#include "vision/superresolution/detail/LaneSum.h"

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
    return {even, even + layout.oddOffset};
}

inline Row rowOf(const SplitLayout& layout, float* image, int y) {
    float* even = image + layout.stride * y;
    return {even, even + layout.oddOffset};
}

// ---- data term ----

/// Horizontal taps of the correlation for frames k .. k + N - 1, taken at every second column of row y.
template <int N>
void gatherRow(const SweepPlan& plan, int k, const ConstRow& in, int y) {
    const float* e = in.even;
    const float* o = in.odd;
    float h[N][kSplitTaps];
    float* out[N];
    for (int f = 0; f < N; ++f) {
        const SweepFrame& frame = plan.frames[k + f];
        for (int t = 0; t < kSplitTaps; ++t) h[f][t] = frame.horizontal[t];
        out[f] = frame.gathered + plan.pitch * (y % kGatheredRows);
    }
    const int lowWidth = plan.layout.lowWidth;
#pragma GCC ivdep
    for (int c = 0; c < lowWidth; ++c) {
        const float e0 = e[c], o0 = o[c], e1 = e[c + 1], o1 = o[c + 1], e2 = e[c + 2], o2 = o[c + 2];
#pragma GCC unroll 8
        for (int f = 0; f < N; ++f) {
            out[f][c] =
                h[f][0] * e0 + h[f][1] * o0 + h[f][2] * e1 + h[f][3] * o1 + h[f][4] * e2 + h[f][5] * o2;
        }
    }
}

inline float maskFactor(char mask) {
    return static_cast<float>(static_cast<signed char>(mask));
}

/// Vertical taps over six gathered rows (row k of the sample at rows[k]), times the mask.
void combineRows(const float* const* rows, const float* __restrict v, const char* __restrict mask,
                 int lowWidth, float* __restrict out) {
    const float* __restrict r0 = rows[0];
    const float* __restrict r1 = rows[1];
    const float* __restrict r2 = rows[2];
    const float* __restrict r3 = rows[3];
    const float* __restrict r4 = rows[4];
    const float* __restrict r5 = rows[5];
    for (int c = 0; c < lowWidth; ++c) {
        const float sum =
            v[0] * r0[c] + v[1] * r1[c] + v[2] * r2[c] + v[3] * r3[c] + v[4] * r4[c] + v[5] * r5[c];
        out[c] = maskFactor(mask[c]) * sum;
    }
}

/// Five masks a row apart are too many short streams for the hardware to foresee.
inline void prefetchMask(const char* mask, int lowWidth, bool hasNext) {
    for (int c = 0; hasNext && c < lowWidth; c += 64) __builtin_prefetch(mask + lowWidth + c);
}

void maskRow(const float* __restrict samples, const char* __restrict mask, int lowWidth,
             float* __restrict out) {
    for (int c = 0; c < lowWidth; ++c) out[c] = maskFactor(mask[c]) * samples[c];
}

const float* maskedRow(const SweepPlan& plan, const SweepFrame& frame, int r) {
    if (r < 0 || r >= plan.layout.lowHeight) return plan.zeroRow;
    return frame.masked + plan.pitch * (r % kMaskedRows);
}

/// The vertical part of a frame's share in extended row y: the three sample rows that reach it.
void spreadVertically(const SweepPlan& plan, const SweepFrame& frame, int y, float* __restrict out) {
    const float* __restrict m0 = maskedRow(plan, frame, y / 2);
    const float* __restrict m1 = maskedRow(plan, frame, y / 2 - 1);
    const float* __restrict m2 = maskedRow(plan, frame, y / 2 - 2);
    const float v0 = frame.vertical[y % 2];
    const float v1 = frame.vertical[y % 2 + 2];
    const float v2 = frame.vertical[y % 2 + 4];
    const int lowWidth = plan.layout.lowWidth;
    for (int c = 0; c < lowWidth; ++c) out[c] = m0[c] * v0 + m1[c] * v1 + m2[c] * v2;
}

/// Adds the shares of frames k .. k + N - 1 to extended row y, one frame after the other at every pixel.
template <int N>
void spreadRow(const SweepPlan& plan, int k, int y, float* row) {
    float h[N][kSplitTaps];
    const float* t[N];
    for (int f = 0; f < N; ++f) {
        const SweepFrame& frame = plan.frames[k + f];
        for (int i = 0; i < kSplitTaps; ++i) h[f][i] = frame.horizontal[i];
        float* spread = plan.spreadRows + plan.spreadPitch * f;
        spreadVertically(plan, frame, y, spread);
        t[f] = spread;
    }
    float* even = row;
    float* odd = row + plan.layout.oddOffset;
    const int columns = plan.layout.evenColumns();  // the odd half has one less, and a zero behind it
#pragma GCC ivdep
    for (int i = 0; i < columns; ++i) {
        float e = even[i];
        float o = odd[i];
#pragma GCC unroll 8
        for (int f = 0; f < N; ++f) {
            const float t0 = t[f][i], t1 = t[f][i - 1], t2 = t[f][i - 2];
            e += h[f][0] * t0 + h[f][2] * t1 + h[f][4] * t2;
            o += h[f][1] * t0 + h[f][3] * t1 + h[f][5] * t2;
        }
        even[i] = e;
        odd[i] = o;
    }
    odd[columns - 1] = 0.0f;  // a tap that is not finite has made a NaN of it, which would outlive the run
}

/// Runs Work<N> for the frames k .. k + N - 1 of every group.
template <template <int> class Work, class... Arguments>
inline void overFrames(const SweepPlan& plan, Arguments... arguments) {
    int k = 0;
    for (; k + kFrameGroup <= plan.frameCount; k += kFrameGroup)
        Work<kFrameGroup>::run(plan, k, arguments...);
    static_assert(kFrameGroup == 3, "the rest is one frame or two");
    if (plan.frameCount - k == 2) Work<2>::run(plan, k, arguments...);
    if (plan.frameCount - k == 1) Work<1>::run(plan, k, arguments...);
}

template <int N>
struct Gather {
    static void run(const SweepPlan& plan, int k, ConstRow in, int y) { gatherRow<N>(plan, k, in, y); }
};

template <int N>
struct Spread {
    static void run(const SweepPlan& plan, int k, int y, float* row) { spreadRow<N>(plan, k, y, row); }
};

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

/// Computes the links of row y, which point to the right and into row y + 1. Behind the last column they read
/// zeros, and are cut afterwards.
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
    if (y + 1 == layout.rows())
        return;  // the other links of the last row stay at the zeros they were born with
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
void stencilRow(const SplitLayout& layout, const SplitLinks& links, const float* v, int y, float* out) {
    const ConstRow above = rowOf(layout, v, y - 1);
    const ConstRow here = rowOf(layout, v, y);
    const ConstRow below = rowOf(layout, v, y + 1);
    const auto [e, s, se, sw] = linkRow(layout, links, y);
    const LinkRow n = linkRow(layout, links, y - 1);
    float* even = out;
#pragma GCC ivdep
    for (int i = 0; i < layout.evenColumns(); ++i) {
        const float west = e.odd[i - 1];
        const float north = n.south.even[i];
        const float northWest = n.southEast.odd[i - 1];
        const float northEast = n.southWest.odd[i];
        const float diagonal =
            -(west + e.even[i] + north + s.even[i] + northWest + se.even[i] + northEast + sw.even[i]);
        even[i] = diagonal * here.even[i] + e.even[i] * here.odd[i] + west * here.odd[i - 1] +
                  s.even[i] * below.even[i] + north * above.even[i] + se.even[i] * below.odd[i] +
                  northWest * above.odd[i - 1] + sw.even[i] * below.odd[i - 1] + northEast * above.odd[i];
    }
    float* odd = out + layout.oddOffset;
#pragma GCC ivdep
    for (int i = 0; i < layout.oddColumns(); ++i) {
        const float west = e.even[i];
        const float north = n.south.odd[i];
        const float northWest = n.southEast.even[i];
        const float northEast = n.southWest.even[i + 1];
        const float diagonal =
            -(west + e.odd[i] + north + s.odd[i] + northWest + se.odd[i] + northEast + sw.odd[i]);
        odd[i] = diagonal * here.odd[i] + e.odd[i] * here.even[i + 1] + west * here.even[i] +
                 s.odd[i] * below.odd[i] + north * above.odd[i] + se.odd[i] * below.even[i + 1] +
                 northWest * above.even[i] + sw.odd[i] * below.even[i] + northEast * above.even[i + 1];
    }
}

// ---- whole images ----

/// Calls work(first, count) for every stretch of pixels of an image: the two halves of each row.
template <class Work>
inline void overPixels(const SplitLayout& layout, Work work) {
    const int rows = layout.rows();
    for (int y = 0; y < rows; ++y) {
        work(layout.stride * y, layout.evenColumns());
        work(layout.stride * y + layout.oddOffset, layout.oddColumns());
    }
}

inline void addProducts(LaneSum& sum, const float* a, const float* b, int n) {
    sum.add(n, [a, b](std::ptrdiff_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
}

inline void addRowProducts(LaneSum& sum, const SplitLayout& layout, const float* a, const float* b, int y) {
    const std::ptrdiff_t first = layout.stride * y;
    addProducts(sum, a + first, b + first, layout.evenColumns());
    addProducts(sum, a + first + layout.oddOffset, b + first + layout.oddOffset, layout.oddColumns());
}

void freeze(const SplitLayout& layout, const float* estimate, const LinkParameters& parameters,
            const SplitLinks& links) {
    for (int y = 0; y < layout.rows(); ++y) freezeRow(layout, estimate, parameters, links, y);
}

void spreadFrames(const SweepPlan& plan, int y, float* out) {
    overFrames<Spread>(plan, y, out + plan.layout.stride * y);
}

double backProject(const SweepPlan& plan, float* out) {
    const SplitLayout& layout = plan.layout;
    LaneSum sum;
    for (int y = 0; y < layout.rows(); ++y) {
        const int r = y / 2;
        if (y % 2 == 0 && r < layout.lowHeight) {
            const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(r) * layout.lowWidth;
            for (int k = 0; k < plan.frameCount; ++k) {
                const SweepFrame& frame = plan.frames[k];
                maskRow(frame.samples + first, frame.mask + first, layout.lowWidth,
                        frame.masked + plan.pitch * (r % kMaskedRows));
            }
        }
        float* row = out + layout.stride * y;
        for (int i = 0; i < layout.evenColumns(); ++i) row[i] = 0.0f;
        for (int i = 0; i < layout.oddColumns(); ++i) row[layout.oddOffset + i] = 0.0f;
        spreadFrames(plan, y, out);
        addRowProducts(sum, layout, out, out, y);
    }
    return sum.total();
}

/// Row y of the image, of which everything that it needs has been gathered.
void finishRow(const SweepPlan& plan, const SplitLinks& links, const float* v, int y, float* out,
               LaneSum& sum) {
    stencilRow(plan.layout, links, v, y, out + plan.layout.stride * y);
    spreadFrames(plan, y, out);
    addRowProducts(sum, plan.layout, v, out, y);
}

/// One sweep over the rows for all frames: extended row y is gathered into each frame's ring; with it sample
/// row (y - 5) / 2 is complete, and with that the output rows y - 5 and y - 4. All that lies between input
/// and output stays in the rings, which fit the first caches.
double applyOperator(const SweepPlan& plan, const SplitLinks& links, const float* v, float* out) {
    const SplitLayout& layout = plan.layout;
    const int rows = layout.rows();
    LaneSum sum;
    for (int y = 0; y < rows; ++y) {
        const ConstRow in = rowOf(layout, v, y);
        overFrames<Gather>(plan, in, y);
        const int first = y - (kSplitTaps - 1);
        if (first < 0 || first % 2 != 0) continue;
        const int r = first / 2;
        for (int k = 0; k < plan.frameCount; ++k) {
            const SweepFrame& frame = plan.frames[k];
            const float* gathered[kSplitTaps];
            for (int t = 0; t < kSplitTaps; ++t) {
                gathered[t] = frame.gathered + plan.pitch * ((first + t) % kGatheredRows);
            }
            const char* mask = frame.mask + static_cast<std::ptrdiff_t>(r) * layout.lowWidth;
            prefetchMask(mask, layout.lowWidth, r + 1 < layout.lowHeight);
            combineRows(gathered, frame.vertical, mask, layout.lowWidth,
                        frame.masked + plan.pitch * (r % kMaskedRows));
        }
        finishRow(plan, links, v, first, out, sum);
        finishRow(plan, links, v, first + 1, out, sum);
    }
    for (int y = 2 * layout.lowHeight; y < rows; ++y) finishRow(plan, links, v, y, out, sum);
    return sum.total();
}

double startResidual(const SplitLayout& layout, const float* rightSide, float* residual, float* direction) {
    LaneSum sum;
    overPixels(layout, [&](std::ptrdiff_t first, int n) {
        const float* __restrict b = rightSide + first;
        float* __restrict r = residual + first;
        float* __restrict d = direction + first;
        for (int i = 0; i < n; ++i) d[i] = r[i] = b[i] - r[i];
        addProducts(sum, r, r, n);
    });
    return sum.total();
}

double step(const SplitLayout& layout, const StepVectors& vectors, float alpha) {
    LaneSum sum;
    overPixels(layout, [&](std::ptrdiff_t first, int n) {
        float* __restrict x = vectors.estimate + first;
        float* __restrict r = vectors.residual + first;
        const float* __restrict d = vectors.direction + first;
        const float* __restrict q = vectors.image + first;
        for (int i = 0; i < n; ++i) {
            x[i] += alpha * d[i];
            r[i] -= alpha * q[i];
        }
        addProducts(sum, r, r, n);
    });
    return sum.total();
}

void turn(const SplitLayout& layout, const StepVectors& vectors, float beta) {
    overPixels(layout, [&](std::ptrdiff_t first, int n) {
        float* __restrict d = vectors.direction + first;
        const float* __restrict r = vectors.residual + first;
        for (int i = 0; i < n; ++i) d[i] = beta * d[i] + r[i];
    });
}

}  // namespace

extern const SolverKernels ORAVO_KERNELS;
const SolverKernels ORAVO_KERNELS = {freeze, backProject, applyOperator, startResidual, step, turn};

}  // namespace oravo::vision::detail
