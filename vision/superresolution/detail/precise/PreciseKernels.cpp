// Compiled once per instruction set, with ORAVO_KERNELS naming the copy.

#include "vision/superresolution/detail/precise/PreciseKernels.h"

#include <cmath>

#include "vision/superresolution/detail/numerics/LaneSum.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr int kTaps = 4;    ///< of a cubic B-spline
constexpr int kBlock = 64;  ///< pixels whose weights are kept at a time
constexpr int kLong = 512;  ///< pixels that go together where weights are few

using BlockWeights = float[kTaps][kBlock];

// ---- cubic B-splines ----

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

// ---- the blur between image and coefficients ----

void blurDown(const BlurTaps& blur, const float* const* rows, int n, float* __restrict out) {
    const float* const* mid = rows + kBlurRadius;
    for (int i = 0; i < n; ++i) {
        float sum = blur.taps[0] * mid[0][i];
        for (int k = 1; k <= kBlurRadius; ++k) sum += blur.taps[k] * (mid[-k][i] + mid[k][i]);
        out[i] = sum;
    }
}

void blurAlong(const BlurTaps& blur, const float* row, int n, float* __restrict out) {
    for (int i = 0; i < n; ++i) {
        float sum = blur.taps[0] * row[i];
        for (int k = 1; k <= kBlurRadius; ++k) sum += blur.taps[k] * (row[i - k] + row[i + k]);
        out[i] = sum;
    }
}

void split(const float* row, int n, float* __restrict even, float* __restrict odd) {
    for (int i = 0; i < n / 2; ++i) {
        even[i] = row[2 * i];
        odd[i] = row[2 * i + 1];
    }
    if (n % 2 != 0) even[n / 2] = row[n - 1];
}

void join(const float* even, const float* odd, int n, float* __restrict row) {
    for (int i = 0; i < n / 2; ++i) {
        row[2 * i] = even[i];
        row[2 * i + 1] = odd[i];
    }
    if (n % 2 != 0) row[n - 1] = even[n / 2];
}

// ---- the prior ----

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

// ---- conjugate gradients ----

double dot(const float* a, const float* b, int n) {
    LaneSum sum;
    sum.add(n, [a, b](std::ptrdiff_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
    return sum.total();
}

void gram(const float* const* columns, int count, const float* weights, int n, double* sums) {
    float weighted[kLong];
    for (int offset = 0; offset < n; offset += kLong) {
        const int length = n - offset < kLong ? n - offset : kLong;
        double* sum = sums;
        for (int r = 0; r < count; ++r) {
            const float* column = columns[r] + offset;
            for (int i = 0; i < length; ++i) weighted[i] = weights[offset + i] * column[i];
            for (int c = 0; c <= r; ++c) *sum++ += dot(weighted, columns[c] + offset, length);
        }
    }
}

double begin(const float* right, const float* image, const float* inverse, int n, float* __restrict residual,
             float* __restrict direction) {
    for (int i = 0; i < n; ++i) {
        residual[i] = right[i] - image[i];
        direction[i] = inverse[i] * residual[i];
    }
    return dot(residual, direction, n);
}

double step(float alpha, const float* direction, const float* image, const float* inverse, int n,
            float* __restrict estimate, float* __restrict residual) {
    for (int i = 0; i < n; ++i) {
        estimate[i] += alpha * direction[i];
        residual[i] -= alpha * image[i];
    }
    LaneSum sum;
    sum.add(n, [residual, inverse](std::ptrdiff_t i) {
        return static_cast<double>(residual[i]) * static_cast<double>(inverse[i] * residual[i]);
    });
    return sum.total();
}

void turn(float beta, const float* inverse, const float* residual, int n, float* __restrict direction) {
    for (int i = 0; i < n; ++i) direction[i] = inverse[i] * residual[i] + beta * direction[i];
}

}  // namespace

extern const PreciseKernels ORAVO_KERNELS;
const PreciseKernels ORAVO_KERNELS = {sample,
                                      sampleGradient,
                                      spread,
                                      sampleAndSpread,
                                      blurDown,
                                      blurAlong,
                                      split,
                                      join,
                                      priorWeights,
                                      differences,
                                      gatherDifferences,
                                      dot,
                                      gram,
                                      begin,
                                      step,
                                      turn};

}  // namespace oravo::vision::detail::precise
