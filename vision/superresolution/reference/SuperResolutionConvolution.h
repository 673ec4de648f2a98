#ifndef ORAVO_VISION_REFERENCE_SUPERRESOLUTIONCONVOLUTION_H
#define ORAVO_VISION_REFERENCE_SUPERRESOLUTIONCONVOLUTION_H

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/solver/SparseOperators.h"

namespace oravo::vision {

/// The linear operators of the reference solver, and a box filter. They are those of SrFloatConvolution but
/// for the sample grid, whose rows follow the factor f as its columns do: in the intermediate image, a flat
/// array of lw = trunc(W / f) columns, low-resolution row r begins r (lw + trunc((f - 1) lw)) elements after
/// the start. A whole f puts it on row f r; between whole factors samples shift along the row, and wrap into
/// the next.
///
/// Sizes: the high-resolution image is W x H (columns x rows); the extended image has H + kh - 1 rows of
/// W + kw - 1 columns; the low-resolution image has lh = trunc(H / f) rows of lw columns. All images are
/// dense, row-major, 32-bit float; masks are one signed byte per pixel. Callers own every array passed in;
/// inputs are not written; outputs of the operators may not overlap inputs. Copies share the intermediate
/// image, so only one of them may work at a time.
class ORAVO_EXPORT SuperResolutionConvolution {
  public:
    /// @param W,H    size of the high-resolution image without extension
    /// @param kw,kh  taps of the horizontal and of the vertical kernel, at least 1
    /// @param f      super-resolution factor, at least 1
    /// Throws oravo::Exception, naming the value, for invalid sizes.
    SuperResolutionConvolution(int W, int H, int kw, int kh, float f);

    /// out = full convolution of the masked, zero-inserted low-resolution image. The mask multiplies as a
    /// signed number: 0 removes a sample, 1 keeps it.
    /// @param horizontalKernel,verticalKernel  kw and kh taps
    /// @param lowRes,mask  lh x lw
    /// @param out          (H + kh - 1) x (W + kw - 1), overwritten
    void fullConvFromSparse(const float* lowRes, const float* horizontalKernel, const float* verticalKernel,
                            const char* mask, float* out);

    /// out = valid correlation sampled on the sparse grid, the transpose of the above without the mask.
    /// @param in   (H + kh - 1) x (W + kw - 1)
    /// @param horizontalKernel,verticalKernel  kw and kh taps
    /// @param out  lh x lw, overwritten
    void validCorrToSparse(const float* in, const float* horizontalKernel, const float* verticalKernel,
                           float* out);

    /// Mean over the (2 radius + 1) x (2 radius + 1) window around each pixel, cut at the image border and
    /// divided by the number of pixels inside it: SrFloatConvolution::blurImageMeanFilter, bit for bit,
    /// without allocating.
    /// @param in      H x W
    /// @param radius  in pixels, at least 0
    /// @param out     H x W; may be in
    /// Throws oravo::Exception when the radius is negative.
    void sameConvOnes(const float* in, int radius, float* out);

  private:
    int width_;
    int height_;
    detail::SparseGrid grid_;
    detail::Buffer<float> intermediate_;
};

}  // namespace oravo::vision

#endif
