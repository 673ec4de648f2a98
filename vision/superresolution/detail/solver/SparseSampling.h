#ifndef ORAVO_VISION_DETAIL_SOLVER_SPARSESAMPLING_H
#define ORAVO_VISION_DETAIL_SOLVER_SPARSESAMPLING_H

#include <algorithm>
#include <cstddef>

#include "vision/superresolution/detail/solver/SparseOperators.h"

namespace oravo::vision::detail {

inline std::ptrdiff_t intermediateSize(const SparseGrid& grid) {
    return static_cast<std::ptrdiff_t>(grid.extendedHeight) * grid.lowWidth;
}

/// Rows of samples whose tap k still lies inside the intermediate image: all of them where the factor is at
/// least the row step, fewer where samples are laid out beyond the image's end.
inline int rowsInside(const SparseGrid& grid, int k) {
    const std::ptrdiff_t room = intermediateSize(grid) - static_cast<std::ptrdiff_t>(k + 1) * grid.lowWidth;
    if (room < 0 || grid.lowWidth == 0) return 0;
    if (grid.rowPitch == 0) return grid.lowHeight;
    return static_cast<int>(std::min<std::ptrdiff_t>(grid.lowHeight, room / grid.rowPitch + 1));
}

/// Where row r of the samples, moved by tap k, begins in the intermediate image.
inline std::ptrdiff_t sampleRow(const SparseGrid& grid, int k, int r) {
    return static_cast<std::ptrdiff_t>(k) * grid.lowWidth + grid.rowPitch * r;
}

/// Gathers one extended row at the sample columns.
template <class T, class Add>
void gatherRow(const SparseGrid& grid, const T* source, const T* kernel, T* target, Add add) {
    std::fill_n(target, grid.lowWidth, T(0));
    for (int k = 0; k < grid.kernelWidth; ++k) {
        const T weight = kernel[k];
        const T* shifted = source + k;
        if (grid.columnStep == 2) {
            for (int c = 0; c < grid.lowWidth; ++c) add(target[c], weight, shifted[2 * c]);
        } else {
            for (int c = 0; c < grid.lowWidth; ++c) add(target[c], weight, shifted[grid.columnStep * c]);
        }
    }
}

/// Valid correlation at the sparse samples, horizontally, then vertically, in the arithmetic of `add`, which
/// takes (sum, weight, value) and adds weight times value to the sum. Taps are outermost, which fixes the
/// order of the additions.
/// @param in            extendedHeight x extendedWidth
/// @param intermediate  extendedHeight x lowWidth values of scratch
/// @param out           lowHeight x lowWidth, overwritten
template <class T, class Add>
void sampleSparse(const SparseGrid& grid, const T* in, const T* horizontalKernel, const T* verticalKernel,
                  T* intermediate, T* out, Add add) {
    for (int y = 0; y < grid.extendedHeight; ++y) {
        gatherRow(grid, in + static_cast<std::ptrdiff_t>(y) * grid.extendedWidth, horizontalKernel,
                  intermediate + static_cast<std::ptrdiff_t>(y) * grid.lowWidth, add);
    }
    std::fill_n(out, static_cast<std::ptrdiff_t>(grid.lowHeight) * grid.lowWidth, T(0));
    for (int k = 0; k < grid.kernelHeight; ++k) {
        const T weight = verticalKernel[k];
        const int rows = rowsInside(grid, k);
        for (int r = 0; r < rows; ++r) {
            const T* source = intermediate + sampleRow(grid, k, r);
            T* target = out + static_cast<std::ptrdiff_t>(r) * grid.lowWidth;
            for (int c = 0; c < grid.lowWidth; ++c) add(target[c], weight, source[c]);
        }
    }
}

}  // namespace oravo::vision::detail

#endif
