#ifndef ORAVO_VISION_DETAIL_TRANSFORM_REALFFT2D_H
#define ORAVO_VISION_DETAIL_TRANSFORM_REALFFT2D_H

#include <complex>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/transform/MixedRadixFft.h"

namespace oravo::vision::detail {

/// The size (width, height) of an image to transform, or an Exception that names it: both sides at least 1,
/// and the width even, since a half spectrum of odd width has no last real column.
FrameSize checkedTransformSize(int width, int height, const CodeLocation& where);

/// Unnormalised two-dimensional transform of real images: H x W values to the H x (W/2 + 1) bins of
/// non-negative horizontal frequency, exp(-2 pi i (kx x / W + ky y / H)) forward. Dense, row-major.
///
/// Inputs are never written and may not overlap outputs. Nothing is allocated after construction. Copies
/// share scratch memory, so only one of them may work at a time.
class RealFft2d {
  public:
    explicit RealFft2d(FrameSize size);  ///< a checkedTransformSize

    FrameSize size() const { return size_; }
    int spectrumWidth() const { return size_.width / 2 + 1; }

    void forward(const float* image, std::complex<float>* spectrum) const;
    /// W H times the image of a spectrum. Of columns 0 and W/2, which an image fills symmetrically, the part
    /// that is not symmetric is left out.
    void backward(const std::complex<float>* spectrum, float* image) const;

    /// The plans, for transforms of single rows and columns.
    const RealFftPlan& rowPlan() const { return rowPlan_; }
    const FftPlan& columnPlan() const { return columnPlan_; }

  private:
    FrameSize size_;
    RealFftPlan rowPlan_;
    FftPlan columnPlan_;
    Buffer<std::complex<float>> spectrum_;
    Buffer<float> block_;
    Buffer<float> bins_;
    Buffer<double> scratch_;
};

}  // namespace oravo::vision::detail

#endif
