#ifndef ORAVO_VISION_DETAIL_PRECISE_DEVIATIONESTIMATE_H
#define ORAVO_VISION_DETAIL_PRECISE_DEVIATIONESTIMATE_H

#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/ImageSolver.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"

namespace oravo::vision::detail::precise {

/// Estimates the standard deviation of each pixel of the image that `solver` has found for the frames, from the solver's
/// response to noise of each frame's scale. An image explains part of the noise, so that the frames' misfit is smaller
/// than their noise; the result is corrected for that.
/// @param deviation  set to the standard deviations; of the solver's grid
/// @return the standard deviation of the median frame's noise
double estimateDeviation(const std::vector<FrameState>& frames, ImageSolver& solver,
                         const PaddedImage& deviation, const Threads& threads = Threads());

}  // namespace oravo::vision::detail::precise

#endif
