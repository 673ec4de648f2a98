#include "vision/superresolution/SrFloatNeonConvolution.h"

#include <algorithm>
#include <cstddef>

#include "support/neon.h"

namespace oravo::vision {
namespace {

constexpr int kLanes = 4;

// Each loop below takes whole blocks of samples, then the remainder of the row with the same operations. A
// block reads nothing that the scalar form of the same samples would not read, except for the odd lanes of
// vld2q_f32, which still lie in the row: the last block of tap k ends at column k + 2 lw - 1 <= kw - 1 + W
// - 1.

/// target[c] = weight * source[2c] for the first tap, else target[c] += weight * source[2c]
template <bool kFirst>
void gatherTap(const float* source, float weight, int count, float* target) {
    const float32x4_t weights = vdupq_n_f32(weight);
    int c = 0;
    for (; c + kLanes <= count; c += kLanes) {
        const float32x4_t even = vld2q_f32(source + 2 * c).val[0];
        vst1q_f32(target + c,
                  kFirst ? vmulq_f32(even, weights) : vmlaq_f32(vld1q_f32(target + c), even, weights));
    }
    for (; c < count; ++c) target[c] = kFirst ? source[2 * c] * weight : target[c] + source[2 * c] * weight;
}

/// target = weight * source for the first tap, else target += weight * source
template <bool kFirst>
void addRow(const float* source, float weight, int count, float* target) {
    const float32x4_t weights = vdupq_n_f32(weight);
    int c = 0;
    for (; c + kLanes <= count; c += kLanes) {
        const float32x4_t values = vld1q_f32(source + c);
        vst1q_f32(target + c,
                  kFirst ? vmulq_f32(values, weights) : vmlaq_f32(vld1q_f32(target + c), values, weights));
    }
    for (; c < count; ++c) target[c] = kFirst ? source[c] * weight : target[c] + source[c] * weight;
}

/// addRow with every sample weighted by its mask value
template <bool kFirst>
void addMaskedRow(const float* source, const float* mask, float weight, int count, float* target) {
    const float32x4_t weights = vdupq_n_f32(weight);
    int c = 0;
    for (; c + kLanes <= count; c += kLanes) {
        const float32x4_t values = vmulq_f32(vld1q_f32(source + c), vld1q_f32(mask + c));
        vst1q_f32(target + c,
                  kFirst ? vmulq_f32(values, weights) : vmlaq_f32(vld1q_f32(target + c), values, weights));
    }
    for (; c < count; ++c) {
        const float value = source[c] * mask[c];
        target[c] = kFirst ? value * weight : target[c] + value * weight;
    }
}

/// Spreads a row by two taps: target[2c] and target[2c + 1] take taps[0] and taps[1] times source[c]. Two
/// samples make one block of four columns.
template <bool kFirst>
void spreadTapPair(const float* source, const float* taps, int count, float* target) {
    const float pair[kLanes] = {taps[0], taps[1], taps[0], taps[1]};
    const float32x4_t weights = vld1q_f32(pair);
    int c = 0;
    for (; c + 2 <= count; c += 2) {
        const float32x4_t values = vcombine_f32(vdup_n_f32(source[c]), vdup_n_f32(source[c + 1]));
        float* columns = target + 2 * c;
        vst1q_f32(columns,
                  kFirst ? vmulq_f32(values, weights) : vmlaq_f32(vld1q_f32(columns), values, weights));
    }
    if (c == count) return;
    for (int t = 0; t < 2; ++t) {
        float& column = target[2 * c + t];
        column = kFirst ? source[c] * taps[t] : column + source[c] * taps[t];
    }
}

}  // namespace

SrFloatNeonConvolution::SrFloatNeonConvolution(int W, int H, int kw, int kh, float f)
    : grid_(detail::fixedRowGrid(W, H, kw, kh, f,
                                 {"vision/superresolution/SrFloatNeonConvolution", __LINE__,
                                  "oravo::vision::SrFloatNeonConvolution::SrFloatNeonConvolution"})),
      intermediate_(static_cast<std::size_t>(grid_.extendedHeight) * static_cast<std::size_t>(W)) {
}

bool SrFloatNeonConvolution::suitsVectors() const {
    return grid_.columnStep == 2 && grid_.kernelWidth % 2 == 0 && grid_.kernelHeight % 2 == 0;
}

void SrFloatNeonConvolution::fullConvFromSparse(const float* lowRes, const float* horizontalKernel,
                                                const float* verticalKernel, const float* mask, float* out) {
    if (!suitsVectors()) {
        detail::fullConvFromSparse(grid_, lowRes, horizontalKernel, verticalKernel, mask,
                                   intermediate_.data(), out);
        return;
    }
    spreadVertically(lowRes, verticalKernel, mask);
    const int lw = grid_.lowWidth;
    for (int y = 0; y < grid_.extendedHeight; ++y) {
        const float* source = intermediate_.data() + static_cast<std::ptrdiff_t>(y) * lw;
        float* target = out + static_cast<std::ptrdiff_t>(y) * grid_.extendedWidth;
        spreadTapPair<true>(source, horizontalKernel, lw, target);
        std::fill(target + 2 * lw, target + grid_.extendedWidth, 0.0f);
        for (int k = 2; k < grid_.kernelWidth; k += 2) {
            spreadTapPair<false>(source, horizontalKernel + k, lw, target + k);
        }
    }
}

/// The first two taps set rows 2r and 2r + 1, the others add to them; rows below those start from zero.
void SrFloatNeonConvolution::spreadVertically(const float* lowRes, const float* kernel, const float* mask) {
    const std::ptrdiff_t lw = grid_.lowWidth;
    float* rows = intermediate_.data();
    std::fill(rows + 2 * grid_.lowHeight * lw, rows + grid_.extendedHeight * lw, 0.0f);
    for (int k = 0; k < grid_.kernelHeight; ++k) {
        const auto add = k < 2 ? addMaskedRow<true> : addMaskedRow<false>;
        for (int r = 0; r < grid_.lowHeight; ++r) {
            add(lowRes + r * lw, mask + r * lw, kernel[k], grid_.lowWidth, rows + (k + 2 * r) * lw);
        }
    }
}

void SrFloatNeonConvolution::validCorrToSparse(const float* in, const float* horizontalKernel,
                                               const float* verticalKernel, float* out) {
    if (!suitsVectors()) {
        detail::validCorrToSparse(grid_, in, horizontalKernel, verticalKernel, intermediate_.data(), out);
        return;
    }
    const std::ptrdiff_t lw = grid_.lowWidth;
    for (int y = 0; y < grid_.extendedHeight; ++y) {
        const float* source = in + static_cast<std::ptrdiff_t>(y) * grid_.extendedWidth;
        float* target = intermediate_.data() + y * lw;
        gatherTap<true>(source, horizontalKernel[0], grid_.lowWidth, target);
        for (int k = 1; k < grid_.kernelWidth; ++k) {
            gatherTap<false>(source + k, horizontalKernel[k], grid_.lowWidth, target);
        }
    }
    for (int r = 0; r < grid_.lowHeight; ++r) {
        const float* source = intermediate_.data() + 2 * r * lw;
        addRow<true>(source, verticalKernel[0], grid_.lowWidth, out + r * lw);
        for (int k = 1; k < grid_.kernelHeight; ++k) {
            addRow<false>(source + k * lw, verticalKernel[k], grid_.lowWidth, out + r * lw);
        }
    }
}

}  // namespace oravo::vision
