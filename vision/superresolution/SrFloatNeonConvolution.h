#ifndef ORAVO_VISION_SRFLOATNEONCONVOLUTION_H
#define ORAVO_VISION_SRFLOATNEONCONVOLUTION_H

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/solver/SparseOperators.h"

namespace oravo::vision {

/// The operators of SrFloatConvolution on 4-lane vectors, with float masks that weight a sample (0.5 halves
/// it).
///
/// Sizes, sampling and results are SrFloatConvolution's, for any width and height; whole blocks of 4 samples
/// go through vectors, the rest of a row one by one, and nothing outside the callers' arrays is touched, so
/// these need no padding. The vector form needs a column step of 2 and kernels of even length; other factors
/// and kernels take the general loops. Images are dense, row-major, 32-bit float.
///
/// Callers own every array passed in; inputs are not written; outputs may not overlap inputs. Copies of an
/// object share its scratch image, so only one of them may work at a time.
class ORAVO_EXPORT SrFloatNeonConvolution {
  public:
    /// @param W,H    size of the high-resolution image without extension
    /// @param kw,kh  taps of the horizontal and of the vertical kernel, at least 1
    /// @param f      super-resolution factor, at least 1
    /// Throws oravo::Exception, naming the value, for invalid sizes.
    SrFloatNeonConvolution(int W, int H, int kw, int kh, float f);

    /// out = full convolution of the weighted, zero-inserted low-resolution image.
    /// @param horizontalKernel,verticalKernel  kw and kh taps
    /// @param lowRes,mask  trunc(H / f) x trunc(W / f)
    /// @param out          (H + kh - 1) x (W + kw - 1), overwritten
    void fullConvFromSparse(const float* lowRes, const float* horizontalKernel, const float* verticalKernel,
                            const float* mask, float* out);

    /// out = valid correlation sampled on the sparse grid, the transpose of the above without the mask.
    /// @param in   (H + kh - 1) x (W + kw - 1)
    /// @param horizontalKernel,verticalKernel  kw and kh taps
    /// @param out  trunc(H / f) x trunc(W / f), overwritten
    void validCorrToSparse(const float* in, const float* horizontalKernel, const float* verticalKernel,
                           float* out);

  private:
    bool suitsVectors() const;
    void spreadVertically(const float* lowRes, const float* kernel, const float* mask);

    detail::SparseGrid grid_;
    detail::Buffer<float> intermediate_;
};

}  // namespace oravo::vision

#endif
