#ifndef ORAVO_VISION_SRFLOATFFT2D_H
#define ORAVO_VISION_SRFLOATFFT2D_H

#include <complex>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"

namespace oravo::vision {

namespace detail {
struct FilteringFft2d;
}

/// Two-dimensional Fourier transform of real images of one size, and Gaussian filtering with it.
///
/// Images are H x W values (rows x columns), W even, H any; spectra are the H x (W/2 + 1) bins of
/// non-negative horizontal frequency; both dense and row-major, single precision:
///
///   forward   X[ky][kx] = sum over y, x of image[y][x] exp(-2 pi i (kx x / W + ky y / H))
///   backward  the sum with +, over the whole spectrum that the half one represents
///
/// Neither scales: backward(forward(image)) is W H times the image. Against exact arithmetic the relative
/// root-mean-square error stays below 3e-7 for sides up to 1024 of any factors. Fast sides are products of
/// 2, 3 and 5; a larger prime factor p costs p operations per value.
///
/// Callers own every array passed in; inputs are never written and may not overlap outputs. Results are the
/// same bits on every machine. Memory is allocated by the constructor only. Copies share scratch memory, so
/// only one of them may work at a time.
class ORAVO_EXPORT SrFloatFft2d {
  public:
    /// @param W  columns, even and at least 2
    /// @param H  rows, at least 1
    /// Throws oravo::Exception, naming the size, for any other.
    SrFloatFft2d(int W, int H);

    /// @param in   H x W
    /// @param out  H x (W/2 + 1)
    void forward(const float* in, std::complex<float>* out);

    /// Of columns 0 and W/2 only what the spectrum of an image can hold there counts: the part with
    /// X[H - ky] = conj X[ky].
    /// @param in   H x (W/2 + 1)
    /// @param out  H x W
    void backward(const std::complex<float>* in, float* out);

    /// The transfer function of a Gaussian blur, truncated at r pixels from its centre and normalised. It
    /// carries the 1 / (W H) that the transforms leave out: backward(forward(image) times it) is the circular
    /// blur of the image at unit gain, and its value at frequency 0 is 1 / (W H). A kernel longer than a side
    /// wraps onto itself.
    /// @param r      radius, 0 to 2^24; 0 is a blur that changes nothing
    /// @param sigma  standard deviation in pixels, at least 0
    /// @param out    H x (W/2 + 1)
    /// @param taps   out: the r + 1 weights of the kernel from its centre outwards,
    ///               taps[0] + 2 (taps[1] + ... + taps[r]) = 1
    /// Throws oravo::Exception, naming the value, when r is out of range, or sigma is negative, not a number, or
    /// so large that no weight is left.
    void gaussFft(int r, float sigma, std::complex<float>* out, float* taps);

    /// Turns the circular blur of an image into the blur whose window is cut at the image border and
    /// renormalised: afterwards each pixel is the mean of the source pixels in its (2r + 1) x (2r + 1) window
    /// that lie inside the image, weighted by taps[|dx|] taps[|dy|]. Pixels within r of the border are blurred
    /// again from the source, others stay as they are. Any r goes with any image size.
    /// @param src   the unblurred image, H x W
    /// @param dst   its circular blur, H x W, corrected in place
    /// @param r     radius of the blur in pixels, 0 to 2^24
    /// @param taps  r + 1 weights, of gaussFft
    /// Throws oravo::Exception when r is out of range.
    void repairGaussBlur(const float* src, float* dst, int r, const float* taps);

  private:
    detail::Body<detail::FilteringFft2d> body_;
};

}  // namespace oravo::vision

#endif
