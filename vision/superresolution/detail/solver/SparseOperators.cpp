#include "vision/superresolution/detail/solver/SparseOperators.h"

#include <algorithm>
#include <string>

#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/solver/SparseSampling.h"

namespace oravo::vision::detail {
namespace {

/// Spreads the samples over the extended rows. Taps are outermost, which fixes the order of the additions.
template <class Mask>
void spreadVertically(const SparseGrid& grid, const float* lowRes, const float* kernel, const Mask* mask,
                      float* intermediate) {
    std::fill_n(intermediate, intermediateSize(grid), 0.0f);
    for (int k = 0; k < grid.kernelHeight; ++k) {
        const float weight = kernel[k];
        const int rows = rowsInside(grid, k);
        for (int r = 0; r < rows; ++r) {
            const std::ptrdiff_t source = static_cast<std::ptrdiff_t>(r) * grid.lowWidth;
            float* target = intermediate + sampleRow(grid, k, r);
            for (int c = 0; c < grid.lowWidth; ++c) {
                target[c] += maskWeight(mask[source + c]) * lowRes[source + c] * weight;
            }
        }
    }
}

/// Spreads one intermediate row over the columns of one extended row.
void spreadRow(const SparseGrid& grid, const float* source, const float* kernel, float* target) {
    std::fill_n(target, grid.extendedWidth, 0.0f);
    for (int k = 0; k < grid.kernelWidth; ++k) {
        const float weight = kernel[k];
        float* shifted = target + k;
        if (grid.columnStep == 2) {
            for (int c = 0; c < grid.lowWidth; ++c) shifted[2 * c] += weight * source[c];
        } else {
            for (int c = 0; c < grid.lowWidth; ++c) shifted[grid.columnStep * c] += weight * source[c];
        }
    }
}

}  // namespace

SparseGrid checkedSparseGrid(int W, int H, int kw, int kh, float factor, const CodeLocation& where) {
    checkedFactor(factor, where);
    checkedSize(W, H, where);
    if (kw < 1 || kh < 1) {
        raise(ErrorKind::badArgument,
              "Invalid kernel size " + std::to_string(kw) + " x " + std::to_string(kh) + " specified.",
              where);
    }
    const FrameSize extended = checkedSize(W - 1LL + kw, H - 1LL + kh, where);

    SparseGrid grid;
    grid.lowWidth = static_cast<int>(static_cast<float>(W) / factor);
    grid.lowHeight = static_cast<int>(static_cast<float>(H) / factor);
    grid.extendedWidth = extended.width;
    grid.extendedHeight = extended.height;
    grid.kernelWidth = kw;
    grid.kernelHeight = kh;
    grid.columnStep = static_cast<int>(factor);
    // Single precision rounds large sizes, perhaps to more samples than the image has room for.
    const long long step = grid.columnStep;
    if (step * grid.lowWidth > W || step * grid.lowHeight > H) {
        raise(ErrorKind::badArgument,
              "Invalid image size " + std::to_string(W) + " x " + std::to_string(H) + " specified.", where);
    }
    return grid;
}

SparseGrid fixedRowGrid(int W, int H, int kw, int kh, float factor, const CodeLocation& where) {
    constexpr int kRowStep = 2;
    SparseGrid grid = checkedSparseGrid(W, H, kw, kh, factor, where);
    grid.rowPitch = static_cast<std::ptrdiff_t>(kRowStep) * grid.lowWidth;
    return grid;
}

template <class Mask>
void fullConvFromSparse(const SparseGrid& grid, const float* lowRes, const float* horizontalKernel,
                        const float* verticalKernel, const Mask* mask, float* intermediate, float* out) {
    spreadVertically(grid, lowRes, verticalKernel, mask, intermediate);
    for (int y = 0; y < grid.extendedHeight; ++y) {
        spreadRow(grid, intermediate + static_cast<std::ptrdiff_t>(y) * grid.lowWidth, horizontalKernel,
                  out + static_cast<std::ptrdiff_t>(y) * grid.extendedWidth);
    }
}

template void fullConvFromSparse(const SparseGrid&, const float*, const float*, const float*, const char*,
                                 float*, float*);
template void fullConvFromSparse(const SparseGrid&, const float*, const float*, const float*, const float*,
                                 float*, float*);

void validCorrToSparse(const SparseGrid& grid, const float* in, const float* horizontalKernel,
                       const float* verticalKernel, float* intermediate, float* out) {
    sampleSparse(grid, in, horizontalKernel, verticalKernel, intermediate, out,
                 [](float& sum, float weight, float value) { sum += weight * value; });
}

}  // namespace oravo::vision::detail
