#ifndef ORAVO_VISION_DETAIL_PRECISE_SAMPLEANDSPREADRUNS_H
#define ORAVO_VISION_DETAIL_PRECISE_SAMPLEANDSPREADRUNS_H

#include "vision/superresolution/detail/precise/PreciseKernels.h"
#include "vision/superresolution/detail/precise/SplineRuns.h"

// Sampling and its adjoint in one pass. A part of PreciseKernels.cpp, and so compiled once per instruction set: only
// that source may include it.

namespace oravo::vision::detail::precise {
namespace {

// NOLINTBEGIN(misc-definitions-in-headers): one source includes them, and they have no external linkage.

constexpr int kLong = 512;  ///< pixels that go together where weights are few

// At factor 2 taps 0 and 2 of a pixel lie in the same phase of a row, one element apart, and so do taps 1 and 3: element i
// of a phase gets something from pixels i and i - 1.

constexpr int kLanes = 16;  ///< pixels that turned runs, which are short, are filled up to, with weights of 0
constexpr int kPadded = kLanes + kBlock + kLanes;

/// A run of a translated frame at factor 2: all its pixels have the same eight weights.
void translatedSampleAndSpread(const SplineView& from, const SampleRun& run, const float* weights,
                               const SplineView& to) {
    BlockWeights x, y;
    fillWeights(run.fractionX, 0.0f, 1, x);
    fillWeights(run.fractionY, 0.0f, 1, y);
    const float x0 = x[0][0], x1 = x[1][0], x2 = x[2][0], x3 = x[3][0];
    const float y0 = y[0][0], y1 = y[1][0], y2 = y[2][0], y3 = y[3][0];
    float even[kLong + 1], odd[kLong + 1], padded[kLong + 2];
    float* product = padded + 1;
    product[-1] = 0.0f;
    for (int offset = 0; offset < run.count; offset += kLong) {
        const int n = run.count - offset < kLong ? run.count - offset : kLong;
        const TapRows taps = tapRows(from, run, offset);
        for (int i = 0; i <= n; ++i) {
            even[i] =
                y0 * taps.at[0][0][i] + y1 * taps.at[1][0][i] + y2 * taps.at[2][0][i] + y3 * taps.at[3][0][i];
            odd[i] =
                y0 * taps.at[0][1][i] + y1 * taps.at[1][1][i] + y2 * taps.at[2][1][i] + y3 * taps.at[3][1][i];
        }
        const float* weight = weights + run.first + offset;
        for (int i = 0; i < n; ++i)
            product[i] = weight[i] * (x0 * even[i] + x1 * odd[i] + x2 * even[i + 1] + x3 * odd[i + 1]);
        product[n] = 0.0f;
        for (int i = 0; i <= n; ++i) {
            even[i] = x0 * product[i] + x2 * product[i - 1];
            odd[i] = x1 * product[i] + x3 * product[i - 1];
        }
        for (int r = 0; r < kTaps; ++r) {
            float* first = tapOf(to, run, offset, r, 0);
            float* second = tapOf(to, run, offset, r, 1);
            const float weightY = y[r][0];
#pragma GCC ivdep
            for (int i = 0; i <= n; ++i) {
                first[i] += weightY * even[i];
                second[i] += weightY * odd[i];
            }
        }
    }
}

/// Adds the first `reached` elements of products with the weights along x, times those along y, to the coefficients.
inline void spreadTurned(const SplineView& to, const SampleRun& run, int offset, int reached,
                         const float* const* y, const float* const* product) {
    for (int r = 0; r < kTaps; ++r) {
        const float* weightY = y[r];
        float* first = tapOf(to, run, offset, r, 0);
        float* second = tapOf(to, run, offset, r, 1);
#pragma GCC ivdep
        for (int i = 0; i < reached; ++i) {
            first[i] += weightY[i] * product[0][i] + weightY[i - 1] * product[2][i - 1];
            second[i] += weightY[i] * product[1][i] + weightY[i - 1] * product[3][i - 1];
        }
    }
}

/// A run of any other frame at factor 2. Adds zeros beyond its end, within the slack of a SplineImage.
void turnedSampleAndSpread(const SplineView& from, const SampleRun& run, const float* weights,
                           const SplineView& to) {
    BlockWeights x;
    float weight[kBlock];
    float paddedY[kTaps][kPadded], paddedProduct[kTaps][kPadded];
    float *y[kTaps], *product[kTaps];  // the latter times the weights along x
    for (int r = 0; r < kTaps; ++r) {
        y[r] = paddedY[r] + kLanes;
        product[r] = paddedProduct[r] + kLanes;
        y[r][-1] = product[r][-1] = 0.0f;
    }
    for (int offset = 0; offset < run.count; offset += kBlock) {
        const int n = blockAt(run, offset);
        const int filled = (n + kLanes - 1) / kLanes * kLanes;
        for (int i = 0; i < n; ++i) weight[i] = weights[run.first + offset + i];
        for (int i = n; i < filled; ++i) weight[i] = 0.0f;
        fillWeights(slopeAt(run.fractionX, run.slopeX, offset), run.slopeX, filled, x[0], x[1], x[2], x[3]);
        fillWeights(slopeAt(run.fractionY, run.slopeY, offset), run.slopeY, filled, y[0], y[1], y[2], y[3]);
        const TapRows taps = tapRows(from, run, offset);
#pragma GCC ivdep
        for (int i = 0; i < filled; ++i) {
            const float sent =
                weight[i] * (y[0][i] * along(x, taps.at[0], i) + y[1][i] * along(x, taps.at[1], i) +
                             y[2][i] * along(x, taps.at[2], i) + y[3][i] * along(x, taps.at[3], i));
            product[0][i] = x[0][i] * sent;
            product[1][i] = x[1][i] * sent;
            product[2][i] = x[2][i] * sent;
            product[3][i] = x[3][i] * sent;
        }
        const int reached = (n + kLanes) / kLanes * kLanes;  // n + 1 elements, filled up
        for (int c = 0; c < kTaps; ++c) {
            for (int i = filled; i < reached; ++i) y[c][i] = product[c][i] = 0.0f;
        }
        spreadTurned(to, run, offset, reached, y, product);
    }
}

void sampleAndSpread(const SplineView& from, const SampleRun& run, const float* weights,
                     const SplineView& to) {
    if (from.factor == 2) {
        const bool translated = run.slopeX == 0.0f && run.slopeY == 0.0f;
        (translated ? translatedSampleAndSpread : turnedSampleAndSpread)(from, run, weights, to);
        return;
    }
    float product[kBlock];
    SampleRun block = run;
    block.first = 0;
    for (int offset = 0; offset < run.count; offset += kBlock) {
        block.count = blockAt(run, offset);
        block.column = run.column + offset * from.factor;
        block.fractionX = slopeAt(run.fractionX, run.slopeX, offset);
        block.fractionY = slopeAt(run.fractionY, run.slopeY, offset);
        sample(from, block, product);
        for (int i = 0; i < block.count; ++i) product[i] *= weights[run.first + offset + i];
        spread(to, block, product);
    }
}

// NOLINTEND(misc-definitions-in-headers)

}  // namespace
}  // namespace oravo::vision::detail::precise

#endif
