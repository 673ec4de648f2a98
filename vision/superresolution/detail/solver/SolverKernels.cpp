// Compiled once per instruction set, with ORAVO_KERNELS naming the copy. Per pixel the operations and their
// order are those of the general operators (SparseOperators.cpp, TotalVariation.cpp); sums run over the lanes
// of LaneSum.

#include "vision/superresolution/detail/solver/SolverKernels.h"

#include "vision/superresolution/detail/numerics/LaneSum.h"
#include "vision/superresolution/detail/solver/DataTermRows.h"
#include "vision/superresolution/detail/solver/SplitRows.h"
#include "vision/superresolution/detail/solver/TotalVariationRows.h"

namespace oravo::vision::detail {
namespace {

void addProducts(LaneSum& sum, const float* a, const float* b, std::ptrdiff_t n) {
    sum.add(wholeBlocks(n),
            [a, b](std::ptrdiff_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
}

void addRowProducts(LaneSum* sum, const float* a, const float* b, std::ptrdiff_t n) {
    if (sum != nullptr) addProducts(*sum, a, b, n);
}

/// One after the last row of the extended image that a band completes.
int endOf(const SplitLayout& layout, SweepBand band) {
    return band.end == layout.lowHeight ? layout.rows() : 2 * band.end;
}

/// Adds the data term to row y, once all shares of it have been spread vertically.
void finishRow(const SweepPlan& plan, int y, Row row) {
    addAllShares(plan, y, row);
    clearPads(plan.layout, row);
}

void maskSamples(const SweepPlan& plan, const SweepFrame& frame, int r) {
    const int lowWidth = plan.layout.lowWidth;
    const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(r) * lowWidth;
    readMask(frame.mask + first, lowWidth, plan.factors);
    float* masked = newMaskedRow(plan, frame, r);
    for (int c = 0; c < lowWidth; ++c) masked[c] = plan.factors[c] * frame.samples[first + c];
}

void backProject(const SweepPlan& plan, SweepBand band, float* out, float* copy, LaneSum* sum) {
    const SplitLayout& layout = plan.layout;
    for (int r = band.first < 2 ? 0 : band.first - 2; r < band.first; ++r) {
        for (int k = 0; k < plan.frameCount; ++k) maskSamples(plan, plan.frames[k], r);
    }
    for (int y = 2 * band.first; y < endOf(layout, band); ++y) {
        const int r = y / 2;
        for (int k = 0; y % 2 == 0 && k < plan.frameCount; ++k) {
            if (r < layout.lowHeight) maskSamples(plan, plan.frames[k], r);
            spreadVertically(plan, plan.frames[k], r);
        }
        const Row row = rowOf(layout, out, y);
        for (std::ptrdiff_t i = 0; i < layout.stride; ++i) row.even[i] = 0.0f;
        finishRow(plan, y, row);
        addRowProducts(sum, row.even, row.even, layout.stride);
        float* copied = copy + layout.stride * y;
        for (std::ptrdiff_t i = 0; i < layout.stride; ++i) copied[i] = row.even[i];
    }
}

/// The rows of the image at which the steps of a sweep over a band begin and end.
struct BandRows {
    BandRows(const SplitLayout& layout, SweepBand band)
        : bottom(band.end == layout.lowHeight),
          enterFrom(band.first == 0 ? 0 : 2 * band.first + kSharedRows),
          enterEnd(bottom ? layout.rows() : 2 * band.end - kSharedRows),
          linkEnd(bottom ? layout.rows() : 2 * band.end - 1) {}
    bool bottom;
    int enterFrom, enterEnd, linkEnd;
};

/// out = A v in one sweep over the rows for all frames: rows 2 r + 4 and 2 r + 5 of v complete sample row r and with it
/// rows 2 r and 2 r + 1 of the result. Intermediate results are a few rows, which fit the first-level cache.
/// Three callbacks work on rows while they are in the cache: enter(y) before row y of v is read for the first time,
/// link(y) before the links of row y are read, leave(y) when row y of the result is complete. Where a band begins or ends
/// within the image, shared rows have entered before, and have the links that are shared.
template <class Enter, class Link, class Leave>
inline void sweep(const SweepPlan& plan, SweepBand band, const SplitLinks& links, const SweptImages& in,
                  float* out, Enter enter, Link link, Leave leave) {
    const SplitLayout& layout = plan.layout;
    const float* v = in.operand;
    const BandRows rows(layout, band);
    const auto enterOwn = [&](int y) {
        if (y >= rows.enterFrom && y < rows.enterEnd) enter(y);
    };
    const auto complete = [&](int y) {
        const Row row = rowOf(layout, out, y);
        if (y < rows.linkEnd) link(y);
        stencilRow(layout, links, v, y, row);
        finishRow(plan, y, row);
        leave(y);
    };
    // Sample rows first - 2 and first - 1 reach the first rows; each is complete with the third of three pairs of rows.
    const int firstComplete = band.first == 0 ? 0 : band.first - 2;
    for (int r = firstComplete - 2; r < band.end; ++r) {
        const int y = 2 * r;
        SweepPrefetcher ahead = in.prefetcher(layout, links, y);
        enterOwn(y + 4);
        enterOwn(y + 5);
        const ConstRow a = rowOf(layout, v, y + 4);
        const ConstRow b = rowOf(layout, v, y + 5);
        for (int k = 0; k < plan.frameCount; ++k) {
            if (r < firstComplete) {
                correlateRows<false>(plan, plan.frames[k], a, b, r, ahead);
            } else {
                correlateRows<true>(plan, plan.frames[k], a, b, r, ahead);
                clearSpreadPads(plan, plan.frames[k]);
            }
        }
        if (r < band.first) continue;
        complete(y);
        complete(y + 1);
    }
    if (!rows.bottom) return;
    enterOwn(layout.rows() - 1);
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

void startResidual(const SweepPlan& plan, SweepBand band, const SplitLinks& links,
                   const LinkParameters& parameters, const StepVectors& vectors, const float* rightSide,
                   const float* alpha, LaneSum* sum) {
    const SplitLayout& layout = plan.layout;
    const std::ptrdiff_t n = wholeBlocks(layout.stride);
    sweep(
        plan, band, links, {vectors.estimate, {rightSide, alpha == nullptr ? nullptr : vectors.direction}},
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
            addRowProducts(sum, r, r, n);
        });
}

void applyOperator(const SweepPlan& plan, SweepBand band, const SplitLinks& links, const StepVectors& vectors,
                   DeferredUpdates deferred, LaneSum* sum) {
    const std::ptrdiff_t n = wholeBlocks(plan.layout.stride);
    const auto [alpha, beta] = deferred;
    sweep(
        plan, band, links,
        {vectors.direction,
         {alpha == nullptr ? nullptr : vectors.estimate, beta == nullptr ? nullptr : vectors.residual}},
        vectors.image,
        [&, alpha = alpha, beta = beta](int y) {
            if (alpha != nullptr) updateEstimateRow(vectors, n * y, n, *alpha);
            if (beta != nullptr) updateDirectionRow(vectors, n * y, n, *beta);
        },
        [](int) {}, [&](int y) { addRowProducts(sum, vectors.direction + n * y, vectors.image + n * y, n); });
}

void reduceResidual(const SplitLayout& layout, const StepVectors& vectors, float alpha, int first, int end,
                    LaneSum* sum) {
    const std::ptrdiff_t n = wholeBlocks(layout.stride);
    for (int y = first; y < end; ++y) {
        float* __restrict r = vectors.residual + n * y;
        const float* __restrict q = vectors.image + n * y;
        for (std::ptrdiff_t i = 0; i < n; ++i) r[i] -= alpha * q[i];
        addRowProducts(sum, r, r, n);
    }
}

void updateRows(const SplitLayout& layout, const StepVectors& vectors, DeferredUpdates deferred, int first,
                int end) {
    const std::ptrdiff_t n = wholeBlocks(layout.stride);
    for (int y = first; y < end; ++y) {
        if (deferred.alpha != nullptr) updateEstimateRow(vectors, n * y, n, *deferred.alpha);
        if (deferred.beta != nullptr) updateDirectionRow(vectors, n * y, n, *deferred.beta);
    }
}

void addProductsOfRows(const SplitLayout& layout, const float* a, const float* b, int first, int end,
                       LaneSum* sum) {
    const std::ptrdiff_t n = wholeBlocks(layout.stride);
    for (int y = first; y < end; ++y) addProducts(*sum, a + n * y, b + n * y, n);
}

}  // namespace

extern const SolverKernels ORAVO_KERNELS;
const SolverKernels ORAVO_KERNELS = {backProject, startResidual, applyOperator,    reduceResidual,
                                     updateRows,  freezeRow,     addProductsOfRows};

}  // namespace oravo::vision::detail
