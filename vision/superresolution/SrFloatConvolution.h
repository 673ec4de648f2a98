#ifndef ORAVO_VISION_SRFLOATCONVOLUTION_H
#define ORAVO_VISION_SRFLOATCONVOLUTION_H

#include <opencv2/core.hpp>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/solver/SparseOperators.h"

namespace oravo::vision {

/// The linear operators that tie a high-resolution image to the low-resolution frames, and a box filter.
///
/// A frame is modelled as the extended high-resolution image, correlated with the frame's separable
/// point-spread function and sampled on the sparse grid: every 2nd row and every trunc(f)-th column of the
/// high-resolution image. validCorrToSparse is that model H; fullConvFromSparse is its transpose with a mask,
/// H^T M.
///
/// Sizes: the high-resolution image is W x H (columns x rows); the extended image is larger by the kernel's
/// length less one, (H + kh - 1) rows of (W + kw - 1) columns; the low-resolution image has trunc(H / f) rows
/// of trunc(W / f) columns. All images are dense, row-major, 32-bit float; masks are one signed byte per
/// pixel.
///
/// Kernels are kw and kh taps. Callers own every array passed in; inputs are not written; outputs may not
/// overlap inputs. Copies of an object share its scratch image, so only one of them may work at a time.
class ORAVO_EXPORT SrFloatConvolution {
  public:
    /// @param W,H    size of the high-resolution image without extension
    /// @param kw,kh  taps of the horizontal and of the vertical kernel, at least 1
    /// @param f      super-resolution factor, at least 1
    /// Throws oravo::Exception, naming the value, for invalid sizes.
    SrFloatConvolution(int W, int H, int kw, int kh, float f);

    /// out = full convolution of the masked, zero-inserted low-resolution image.
    ///
    /// With T an intermediate image of H + kh - 1 rows, per vertical tap k: T[k + 2r][c] += mask * lowRes *
    /// v[k] (row step 2 whatever the factor), then per horizontal tap k: out[y][k + trunc(f) c] += h[k]
    /// T[y][c]. The mask multiplies as a signed number: 0 removes a sample, 1 keeps it. Samples that factors
    /// below 2 lay out beyond the last row are left out.
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

    /// Mean over the (2r + 1) x (2r + 1) window around each pixel, cut at the image border and divided by the
    /// number of pixels inside it; computed with running sums in single precision.
    /// @param src     any size, regions of larger images included
    /// @param radius  r, at least 0; an image smaller than the window is averaged over what there is of it
    /// @param dst     (re)created with the size of src; may be src itself
    /// Throws oravo::Exception when the radius is negative.
    static void blurImageMeanFilter(const cv::Mat_<float>& src, int radius, cv::Mat_<float>& dst);

  private:
    detail::SparseGrid grid_;
    detail::Buffer<float> intermediate_;
};

}  // namespace oravo::vision

#endif
