#ifndef ORAVO_VISION_REFERENCE_SUPERRESOLUTIONFFT2D_H
#define ORAVO_VISION_REFERENCE_SUPERRESOLUTIONFFT2D_H

#include <complex>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"

namespace oravo::vision {

namespace detail {
struct FilteringFft2d;
}

/// Two-dimensional Fourier transform of real images of one size, and the transfer function of a Gaussian
/// blur, for the reference pipeline. Results are those of SrFloatFft2d, whose conventions hold here too:
/// images are height x width values (rows x columns), width even; spectra the height x (width/2 + 1) bins of
/// non-negative horizontal frequency; both dense, row-major, single precision; backward(forward(image)) is
/// width height times the image.
///
/// Callers own every array passed in; inputs are never written and may not overlap outputs. Memory is
/// allocated by the constructor only. Copies share scratch memory, so only one of them may work at a time.
class ORAVO_EXPORT SuperResolutionFft2d {
  public:
    /// @param width   columns, even and at least 2
    /// @param height  rows, at least 1
    /// Throws oravo::Exception, naming the size, for any other.
    SuperResolutionFft2d(int width, int height);

    /// @param in   height x width
    /// @param out  height x (width/2 + 1)
    void forward(const float* in, std::complex<float>* out);

    /// @param in   height x (width/2 + 1)
    /// @param out  height x width
    void backward(const std::complex<float>* in, float* out);

    /// The transfer function of a Gaussian blur truncated at r pixels, over width height: backward(forward(
    /// image) times it) is the circular blur of the image at unit gain.
    /// @param r      radius, 0 to 2^24; 0 is a blur that changes nothing
    /// @param sigma  standard deviation in pixels, at least 0
    /// @param out    height x (width/2 + 1)
    /// @param taps   out: the r + 1 weights of the kernel from its centre outwards,
    ///               taps[0] + 2 (taps[1] + ... + taps[r]) = 1
    /// Throws oravo::Exception, naming the value, when r is out of range, or sigma is negative, not a number, or
    /// so large that no weight is left.
    void gaussFft(int r, float sigma, std::complex<float>* out, float* taps);

  private:
    detail::Body<detail::FilteringFft2d> body_;
};

}  // namespace oravo::vision

#endif
