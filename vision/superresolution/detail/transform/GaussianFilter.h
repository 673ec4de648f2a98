#ifndef ORAVO_VISION_DETAIL_TRANSFORM_GAUSSIANFILTER_H
#define ORAVO_VISION_DETAIL_TRANSFORM_GAUSSIANFILTER_H

#include <complex>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/transform/RealFft2d.h"

namespace oravo::vision::detail {

/// Throws Exception, naming the radius, unless it is within 0 to 2^24.
void checkBlurRadius(int radius, const CodeLocation& where);

/// Taps 0 .. radius of a symmetric kernel: the mass of a Gaussian over the pixels at these distances from its
/// centre, (erf((j + 1/2) / s) - erf((j - 1/2) / s)) / 2 with s = sqrt(2) sigma, scaled to
/// taps[0] + 2 (taps[1] + ... + taps[radius]) = 1.
/// Throws Exception, naming the value, when the radius is out of range, or sigma is negative, not a number, or so
/// large that a pixel's mass vanishes.
void gaussianTaps(int radius, float sigma, float* taps, const CodeLocation& where);

/// Gaussian filtering of images of one size by their spectra.
class GaussianFilter {
  public:
    explicit GaussianFilter(const RealFft2d& fft);

    /// The transform of the circular kernel over W H, so that backward(forward(image) times it) is the
    /// circular blur of the image at unit gain; the value at frequency 0 is 1 / (W H). A kernel longer than a
    /// side wraps onto itself.
    /// @param spectrum  H x (W/2 + 1), out
    /// @param taps      radius + 1 values of gaussianTaps, out
    void transferFunction(int radius, float sigma, std::complex<float>* spectrum, float* taps,
                          const CodeLocation& where) const;

    /// Replaces the pixels within `radius` of the border of a circular blur by the mean of the source over
    /// the part of their window that lies inside the image, weighted by the taps; other pixels stay.
    ///
    /// The zone is blurred again from the source, vertically and then horizontally, and divided by the weight
    /// inside. In exact arithmetic this equals subtracting what wrapped around from the circular blur, but
    /// suffers no cancellation, works on images smaller than the window, and costs no more.
    void repairBorder(const float* source, float* blurred, int radius, const float* taps,
                      const CodeLocation& where) const;

  private:
    struct Zone;

    void blurZone(const Zone& zone, const float* source, float* blurred, int radius, const float* taps) const;

    FrameSize size_;
    RealFft rowFft_;
    ComplexFft columnFft_;
    Buffer<float> row_;
    Buffer<std::complex<float>> column_;
    Buffer<float> gains_;
};

/// A transform and the Gaussian filter of its size: the body of the public transform classes.
struct FilteringFft2d {
    explicit FilteringFft2d(FrameSize size) : fft(size), filter(fft) {}

    RealFft2d fft;
    GaussianFilter filter;
};

}  // namespace oravo::vision::detail

#endif
