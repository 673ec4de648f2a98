#ifndef ORAVO_VISION_DETAIL_PRECISE_PRIORROWS_H
#define ORAVO_VISION_DETAIL_PRECISE_PRIORROWS_H

#include <cmath>

#include "vision/superresolution/detail/precise/PreciseKernels.h"

// The prior's weights and differences, row by row. A part of PreciseKernels.cpp, and so compiled once per instruction
// set: only that source may include it.

namespace oravo::vision::detail::precise {
namespace {

// NOLINTBEGIN(misc-definitions-in-headers): one source includes them, and they have no external linkage.

void priorWeights(const RowTriple& rows, const PriorParameters& prior, int n, float* __restrict first,
                  float* __restrict second) {
    const float* a = rows.above;
    const float* h = rows.here;
    const float* b = rows.below;
#pragma GCC ivdep
    for (int i = 0; i < n; ++i) {
        const float right = h[i + 1] - h[i];
        const float down = b[i] - h[i];
        const float xx = h[i - 1] - 2.0f * h[i] + h[i + 1];
        const float yy = a[i] - 2.0f * h[i] + b[i];
        const float xy = h[i] - h[i + 1] - b[i] + b[i + 1];
        first[i] = prior.first / std::sqrt(prior.floor + right * right + down * down);
        second[i] = prior.second / std::sqrt(prior.floor + xx * xx + yy * yy + 2.0f * xy * xy);
    }
}

void differences(const RowTriple& rows, const float* first, const float* second, int n,
                 const DifferenceRow& out) {
    const float* a = rows.above;
    const float* h = rows.here;
    const float* b = rows.below;
    float* __restrict right = out.right;
    float* __restrict down = out.down;
    float* __restrict xx = out.xx;
    float* __restrict yy = out.yy;
    float* __restrict xy = out.xy;
#pragma GCC ivdep
    for (int i = 0; i < n; ++i) {
        right[i] = first[i] * (h[i + 1] - h[i]);
        down[i] = first[i] * (b[i] - h[i]);
        xx[i] = second[i] * (h[i - 1] - 2.0f * h[i] + h[i + 1]);
        yy[i] = second[i] * (a[i] - 2.0f * h[i] + b[i]);
        xy[i] = 2.0f * second[i] * (h[i] - h[i + 1] - b[i] + b[i + 1]);
    }
    // Beyond the ends first and mixed differences vanish, second ones are mirrored.
    right[-1] = 0.0f;
    xy[-1] = 0.0f;
    xx[-1] = xx[0];
    xx[n] = xx[n - 1];
}

void gatherDifferences(const DifferenceRow& above, const DifferenceRow& here, const DifferenceRow& below,
                       int n, float* __restrict out) {
    for (int i = 0; i < n; ++i) {
        const float first = (here.right[i - 1] - here.right[i]) + (above.down[i] - here.down[i]);
        const float straight = (here.xx[i - 1] - 2.0f * here.xx[i] + here.xx[i + 1]) +
                               (above.yy[i] - 2.0f * here.yy[i] + below.yy[i]);
        const float mixed = (here.xy[i] - here.xy[i - 1]) - (above.xy[i] - above.xy[i - 1]);
        out[i] += first + straight + mixed;
    }
}

// NOLINTEND(misc-definitions-in-headers)

}  // namespace
}  // namespace oravo::vision::detail::precise

#endif
