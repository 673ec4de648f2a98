#ifndef ORAVO_VISION_DETAIL_PRECISE_MISFIT_H
#define ORAVO_VISION_DETAIL_PRECISE_MISFIT_H

#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Sets misfit, slope, inside and scale of each frame against an image.
/// @param pattern  of the sensor, subtracted from the frames; empty for none
void measureMisfit(const Grid& grid, const SplineImage& image, const Buffer<float>& pattern,
                   std::vector<FrameState>& frames, const Threads& threads = Threads());

/// The scale of the median frame.
double medianScale(const std::vector<FrameState>& frames);

/// Whether a frame fits about as well as the usual one, so that what it misses may be held against the sensor.
bool fitsUsually(const FrameState& frame, double usual);

}  // namespace oravo::vision::detail::precise

#endif
