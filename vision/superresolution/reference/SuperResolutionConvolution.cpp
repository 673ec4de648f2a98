#include "vision/superresolution/reference/SuperResolutionConvolution.h"

#include <algorithm>

#include "vision/superresolution/detail/numerics/MeanFilter.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/reference/SuperResolutionConvolution";
constexpr char kConstructor[] = "oravo::vision::SuperResolutionConvolution::SuperResolutionConvolution";

detail::SparseGrid makeGrid(int W, int H, int kw, int kh, float f) {
    detail::SparseGrid grid = detail::checkedSparseGrid(W, H, kw, kh, f, {kSource, __LINE__, kConstructor});
    const float gap = (f - 1.0f) * static_cast<float>(grid.lowWidth);
    grid.rowPitch = grid.lowWidth + static_cast<std::ptrdiff_t>(gap);
    return grid;
}

/// Both the operators and the mean filter pass through it.
std::size_t intermediateSize(const detail::SparseGrid& grid, int W, int H) {
    const std::size_t rows = static_cast<std::size_t>(grid.extendedHeight);
    return std::max(rows * static_cast<std::size_t>(W), detail::meanFilterScratch(W, H));
}

}  // namespace

SuperResolutionConvolution::SuperResolutionConvolution(int W, int H, int kw, int kh, float f)
    : width_(W), height_(H), grid_(makeGrid(W, H, kw, kh, f)), intermediate_(intermediateSize(grid_, W, H)) {
}

void SuperResolutionConvolution::fullConvFromSparse(const float* lowRes, const float* horizontalKernel,
                                                    const float* verticalKernel, const char* mask,
                                                    float* out) {
    detail::fullConvFromSparse(grid_, lowRes, horizontalKernel, verticalKernel, mask, intermediate_.data(),
                               out);
}

void SuperResolutionConvolution::validCorrToSparse(const float* in, const float* horizontalKernel,
                                                   const float* verticalKernel, float* out) {
    detail::validCorrToSparse(grid_, in, horizontalKernel, verticalKernel, intermediate_.data(), out);
}

void SuperResolutionConvolution::sameConvOnes(const float* in, int radius, float* out) {
    detail::meanFilter({in, width_, height_, width_}, radius, intermediate_.data(),
                       {out, width_, height_, width_});
}

}  // namespace oravo::vision
