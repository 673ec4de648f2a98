#ifndef ORAVO_VISION_DETAIL_PRECISE_SPLINERUNS_H
#define ORAVO_VISION_DETAIL_PRECISE_SPLINERUNS_H

#include <cstddef>

#include "vision/superresolution/detail/precise/PreciseKernels.h"

// Sampling of spline images along runs, and its adjoint. A part of PreciseKernels.cpp, and so compiled once per
// instruction set: only that source may include it.

namespace oravo::vision::detail::precise {
namespace {

// NOLINTBEGIN(misc-definitions-in-headers): one source includes them, and they have no external linkage.

constexpr int kTaps = 4;    ///< of a cubic B-spline
constexpr int kBlock = 64;  ///< pixels whose weights are kept at a time

using BlockWeights = float[kTaps][kBlock];

/// Weights of the four coefficients around fractions start + slope i.
inline void fillWeights(float start, float slope, int n, float* w0, float* w1, float* w2, float* w3) {
#pragma GCC ivdep
    for (int i = 0; i < n; ++i) {
        const float t = start + slope * static_cast<float>(i);
        const float s = 1.0f - t;
        const float t2 = t * t;
        const float s2 = s * s;
        w0[i] = s2 * s * (1.0f / 6.0f);
        w1[i] = (4.0f - 6.0f * t2 + 3.0f * t2 * t) * (1.0f / 6.0f);
        w2[i] = (4.0f - 6.0f * s2 + 3.0f * s2 * s) * (1.0f / 6.0f);
        w3[i] = t2 * t * (1.0f / 6.0f);
    }
}

inline void fillWeights(float start, float slope, int n, BlockWeights& w) {
    fillWeights(start, slope, n, w[0], w[1], w[2], w[3]);
}

inline void fillDerivatives(float start, float slope, int n, BlockWeights& w) {
    for (int i = 0; i < n; ++i) {
        const float t = start + slope * static_cast<float>(i);
        const float s = 1.0f - t;
        w[0][i] = -0.5f * s * s;
        w[1][i] = 0.5f * t * (3.0f * t - 4.0f);
        w[2][i] = -0.5f * s * (3.0f * s - 4.0f);
        w[3][i] = 0.5f * t * t;
    }
}

/// Where the coefficients of tap (r, c) begin for pixel `offset` of the run.
inline float* tapOf(const SplineView& image, const SampleRun& run, int offset, int r, int c) {
    const int column = run.column + c;
    const std::ptrdiff_t row =
        static_cast<std::ptrdiff_t>((run.row + r) & image.mask) * image.factor + column % image.factor;
    return image.data + row * image.pitch + column / image.factor + offset;
}

struct TapRows {
    const float* at[kTaps][kTaps];
};

inline TapRows tapRows(const SplineView& image, const SampleRun& run, int offset) {
    TapRows taps;
    for (int r = 0; r < kTaps; ++r) {
        for (int c = 0; c < kTaps; ++c) taps.at[r][c] = tapOf(image, run, offset, r, c);
    }
    return taps;
}

inline int blockAt(const SampleRun& run, int offset) {
    return run.count - offset < kBlock ? run.count - offset : kBlock;
}

inline float along(const BlockWeights& w, const float* const* taps, int i) {
    return w[0][i] * taps[0][i] + w[1][i] * taps[1][i] + w[2][i] * taps[2][i] + w[3][i] * taps[3][i];
}

inline float slopeAt(float fraction, float slope, int offset) {
    return fraction + slope * static_cast<float>(offset);
}

void sample(const SplineView& image, const SampleRun& run, float* out) {
    BlockWeights x, y;
    for (int offset = 0; offset < run.count; offset += kBlock) {
        const int n = blockAt(run, offset);
        fillWeights(slopeAt(run.fractionX, run.slopeX, offset), run.slopeX, n, x);
        fillWeights(slopeAt(run.fractionY, run.slopeY, offset), run.slopeY, n, y);
        const TapRows taps = tapRows(image, run, offset);
        float* __restrict target = out + run.first + offset;
#pragma GCC ivdep
        for (int i = 0; i < n; ++i) {
            target[i] = y[0][i] * along(x, taps.at[0], i) + y[1][i] * along(x, taps.at[1], i) +
                        y[2][i] * along(x, taps.at[2], i) + y[3][i] * along(x, taps.at[3], i);
        }
    }
}

void sampleGradient(const SplineView& image, const SampleRun& run, float* out, float* dx, float* dy) {
    BlockWeights x, y, slopeX, slopeY;
    for (int offset = 0; offset < run.count; offset += kBlock) {
        const int n = blockAt(run, offset);
        const float fractionX = slopeAt(run.fractionX, run.slopeX, offset);
        const float fractionY = slopeAt(run.fractionY, run.slopeY, offset);
        fillWeights(fractionX, run.slopeX, n, x);
        fillWeights(fractionY, run.slopeY, n, y);
        fillDerivatives(fractionX, run.slopeX, n, slopeX);
        fillDerivatives(fractionY, run.slopeY, n, slopeY);
        const TapRows taps = tapRows(image, run, offset);
        float* __restrict value = out + run.first + offset;
        float* __restrict valueX = dx + run.first + offset;
        float* __restrict valueY = dy + run.first + offset;
#pragma GCC ivdep
        for (int i = 0; i < n; ++i) {
            float sum = 0.0f, sumX = 0.0f, sumY = 0.0f;
            for (int r = 0; r < kTaps; ++r) {
                const float row = along(x, taps.at[r], i);
                sum += y[r][i] * row;
                sumX += y[r][i] * along(slopeX, taps.at[r], i);
                sumY += slopeY[r][i] * row;
            }
            value[i] = sum;
            valueX[i] = sumX;
            valueY[i] = sumY;
        }
    }
}

void spread(const SplineView& image, const SampleRun& run, const float* values) {
    BlockWeights x, y, part;
    for (int offset = 0; offset < run.count; offset += kBlock) {
        const int n = blockAt(run, offset);
        fillWeights(slopeAt(run.fractionX, run.slopeX, offset), run.slopeX, n, x);
        fillWeights(slopeAt(run.fractionY, run.slopeY, offset), run.slopeY, n, y);
        const float* v = values + run.first + offset;
        for (int r = 0; r < kTaps; ++r) {
            for (int i = 0; i < n; ++i) part[r][i] = y[r][i] * v[i];
        }
        for (int r = 0; r < kTaps; ++r) {
            for (int c = 0; c < kTaps; ++c) {
                float* target = tapOf(image, run, offset, r, c);
                for (int i = 0; i < n; ++i) target[i] += x[c][i] * part[r][i];
            }
        }
    }
}

// NOLINTEND(misc-definitions-in-headers)

}  // namespace
}  // namespace oravo::vision::detail::precise

#endif
