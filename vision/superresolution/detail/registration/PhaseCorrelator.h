#ifndef ORAVO_VISION_DETAIL_REGISTRATION_PHASECORRELATOR_H
#define ORAVO_VISION_DETAIL_REGISTRATION_PHASECORRELATOR_H

#include <complex>
#include <opencv2/core.hpp>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/transform/GaussianFilter.h"
#include "vision/superresolution/detail/transform/RealFft2d.h"

namespace oravo::vision::detail {

/// Whole-pixel shifts by phase correlation (C. D. Kuglin, D. C. Hines, "The phase correlation image alignment
/// method", Proc. IEEE Conf. Cybernetics and Society, 1975), and the Gaussian blur of frames by their
/// spectra.
///
/// Spectra are those of RealFft2d, H x (W/2 + 1) bins. Copies share scratch memory.
class PhaseCorrelator {
  public:
    using Bin = std::complex<float>;

    /// @param size  a checkedTransformSize
    PhaseCorrelator(FrameSize size, int gaussRadius, const CodeLocation& where);

    const RealFft2d& fft() const { return fft_; }
    std::size_t spectrumSize() const;

    /// Sets the radius of the blur; its standard deviation is registrationBlurSigma(radius).
    /// Throws oravo::Exception when the radius is negative or above 2^24.
    void setGaussRadius(int radius, const CodeLocation& where);
    int gaussRadius() const { return gaussRadius_; }

    /// The frame blurred, with windows cut at the image border.
    /// @param spectrum  the frame's
    void blur(const Bin* spectrum, const float* frame, float* blurred, const CodeLocation& where);

    /// The whole-pixel shift d, frame(p + d) = reference(p) cyclically, at which the correlation of the
    /// phases is largest: in (-W/2, W/2] x (-H/2, H/2]. The first of equal peaks counts.
    ///
    /// A bin without magnitude in either spectrum, or with one beyond single precision, has no phase and is left
    /// out. Without any phase the shift is (0, 0); so it is when a spectrum holds a NaN, and when one of the two
    /// frames is constant, whose bins other than the mean are rounding errors.
    cv::Point_<int> shift(const Bin* reference, const Bin* frame);

  private:
    RealFft2d fft_;
    GaussianFilter filter_;
    int gaussRadius_ = 0;
    Buffer<Bin> gaussSpectrum_;
    Buffer<float> gaussCoefficients_;
    Buffer<Bin> crossSpectrum_;
    Buffer<float> correlation_;
};

}  // namespace oravo::vision::detail

#endif
