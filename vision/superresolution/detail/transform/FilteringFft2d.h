#ifndef ORAVO_VISION_DETAIL_TRANSFORM_FILTERINGFFT2D_H
#define ORAVO_VISION_DETAIL_TRANSFORM_FILTERINGFFT2D_H

#include "vision/superresolution/detail/transform/GaussianFilter.h"
#include "vision/superresolution/detail/transform/RealFft2d.h"

namespace oravo::vision::detail {

/// A transform and the Gaussian filter of its size: the body of the public transform classes.
struct FilteringFft2d {
    explicit FilteringFft2d(FrameSize size) : fft(size), filter(fft) {}

    RealFft2d fft;
    GaussianFilter filter;
};

}  // namespace oravo::vision::detail

#endif
