#ifndef ORAVO_VISION_DETAIL_PRECISE_FRAMENOISE_H
#define ORAVO_VISION_DETAIL_PRECISE_FRAMENOISE_H

#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Standard deviation of a frame's noise, by the median second difference along both axes. Where a frame is rough all over
/// it comes out too large, where a codec has smoothed it too small.
double frameNoise(const FrameState& frame, int width, int height);

}  // namespace oravo::vision::detail::precise

#endif
