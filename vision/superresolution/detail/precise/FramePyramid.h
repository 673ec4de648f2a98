#ifndef ORAVO_VISION_DETAIL_PRECISE_FRAMEPYRAMID_H
#define ORAVO_VISION_DETAIL_PRECISE_FRAMEPYRAMID_H

#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"

namespace oravo::vision::detail::precise {

constexpr double kFrameBlur = 1.5;   ///< of a pyramid's frames, pixels
constexpr float kLeastKnown = 0.8f;  ///< of a blurred value, below which it is none

/// One level of a frame's pyramid, with what a fit of its motion takes.
struct PyramidLevel {
    Grid grid;
    PaddedImage image;
    PaddedImage shown;    ///< the image as a spline with these coefficients shows it
    Buffer<float> known;  ///< 1 where the image comes from values, 0 within larger defects
    /// Weight of a pixel in motion fits: less where the image is steep, so that one steep object does not decide alone.
    Buffer<float> balance;
};

/// A frame blurred over its defects, then halved until its shorter side is short; finest level first.
std::vector<PyramidLevel> framePyramid(const FrameState& frame, int width, int height,
                                       const Threads& threads);

}  // namespace oravo::vision::detail::precise

#endif
