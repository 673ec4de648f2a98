// Compiled once per instruction set, with ORAVO_KERNELS naming the copy.

#include "vision/superresolution/detail/precise/PreciseKernels.h"

#include "vision/superresolution/detail/numerics/LaneSum.h"
#include "vision/superresolution/detail/precise/PriorRows.h"
#include "vision/superresolution/detail/precise/SampleAndSpreadRuns.h"
#include "vision/superresolution/detail/precise/SplineRuns.h"

namespace oravo::vision::detail::precise {
namespace {

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

// ---- conjugate gradients ----

double dot(const float* a, const float* b, int n) {
    LaneSum sum;
    sum.add(n, [a, b](std::ptrdiff_t i) { return static_cast<double>(a[i]) * static_cast<double>(b[i]); });
    return sum.total();
}

constexpr int kGramBlock = 512;  ///< values that are weighted and summed at a time

void gram(const float* const* columns, int count, const float* weights, int n, double* sums) {
    float weighted[kGramBlock];
    for (int offset = 0; offset < n; offset += kGramBlock) {
        const int length = n - offset < kGramBlock ? n - offset : kGramBlock;
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
