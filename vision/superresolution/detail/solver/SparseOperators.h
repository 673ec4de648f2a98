#ifndef ORAVO_VISION_DETAIL_SOLVER_SPARSEOPERATORS_H
#define ORAVO_VISION_DETAIL_SOLVER_SPARSEOPERATORS_H

#include <cstddef>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {

/// The sparse sample grid inside an extended high-resolution image, and the kernels' lengths.
///
/// Low-resolution sample (r, c) sits at column columnStep * c; its row is given by the intermediate image of
/// the separable passes, lowWidth columns by extendedHeight rows, in which sample row r begins rowPitch * r
/// elements after the start.
struct SparseGrid {
    int lowWidth = 0;
    int lowHeight = 0;
    int extendedWidth = 0;
    int extendedHeight = 0;
    int kernelWidth = 0;
    int kernelHeight = 0;
    int columnStep = 0;
    std::ptrdiff_t rowPitch = 0;
};

/// The grid for a W x H image without extension, kw x kh taps and a factor, except for rowPitch, which each
/// family of operators sets. Throws oravo::Exception, naming the value, for invalid sizes.
SparseGrid checkedSparseGrid(int W, int H, int kw, int kh, float factor, const CodeLocation& where);

/// The same with the row step of the float and vector families, which is 2 and does not follow the factor.
SparseGrid fixedRowGrid(int W, int H, int kw, int kh, float factor, const CodeLocation& where);

/// A mask element as a factor. Masks are signed, and plain char is unsigned on some targets.
inline float maskWeight(char mask) {
    return static_cast<float>(static_cast<signed char>(mask));
}
inline float maskWeight(float mask) {
    return mask;
}

/// out = full convolution of the masked, zero-inserted low-resolution image with the separable kernel.
/// @param intermediate  extendedHeight x lowWidth values of scratch
/// @param out           extendedHeight x extendedWidth, overwritten
template <class Mask>
void fullConvFromSparse(const SparseGrid& grid, const float* lowRes, const float* horizontalKernel,
                        const float* verticalKernel, const Mask* mask, float* intermediate, float* out);

/// out = valid correlation of the extended image with the separable kernel, taken at the sparse samples: the
/// exact transpose of fullConvFromSparse without its mask.
/// @param in   extendedHeight x extendedWidth
/// @param out  lowHeight x lowWidth, overwritten
void validCorrToSparse(const SparseGrid& grid, const float* in, const float* horizontalKernel,
                       const float* verticalKernel, float* intermediate, float* out);

}  // namespace oravo::vision::detail

#endif
