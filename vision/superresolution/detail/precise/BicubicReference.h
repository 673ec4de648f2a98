#ifndef ORAVO_VISION_DETAIL_PRECISE_BICUBICREFERENCE_H
#define ORAVO_VISION_DETAIL_PRECISE_BICUBICREFERENCE_H

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"

namespace oravo::vision::detail::precise {

/// Bicubic interpolation of a frame, by convolution with Keys' kernel for a = -0.75 (R. G. Keys, IEEE Trans. Acoustics,
/// Speech and Signal Processing 29(6), 1981), as image programs enlarge: what every result is measured against, and what
/// solvers start from. Beyond its border a frame continues with its outermost values; defects take their neighbours' mean.
class BicubicReference {
  public:
    /// @param pattern  of the sensor, subtracted; empty for none
    BicubicReference(const FrameState& frame, int width, int height, const Buffer<float>& pattern);

    /// Value at a place in pixels, the first pixel's centre at (0, 0).
    double at(double x, double y) const;

    /// The frame on a grid.
    void enlarge(const Grid& grid, const PaddedImage& image, const Threads& threads = Threads()) const;

  private:
    struct Taps;
    static Taps tapsAt(double place);
    double at(const Taps& across, const Taps& down) const;

    int width_, height_;
    std::vector<float> values_;
};

}  // namespace oravo::vision::detail::precise

#endif
