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
