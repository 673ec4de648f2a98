#ifndef ORAVO_VISION_DETAIL_PRECISE_MISFIT_H
#define ORAVO_VISION_DETAIL_PRECISE_MISFIT_H

#include <vector>

#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Sets misfit, slope, inside and scale of each frame against an image.
/// @param pattern  of the sensor, subtracted from the frames; empty for none
void measureMisfit(const Grid& grid, const SplineImage& image, const Buffer<float>& pattern,
                   std::vector<FrameState>& frames);

/// The scale of the median frame.
double medianScale(const std::vector<FrameState>& frames);

/// Whether a frame fits about as well as the usual one, so that what it misses may be held against the sensor.
bool fitsUsually(const FrameState& frame, double usual);

/// Sets the weights of each frame's values from their misfit: Cauchy's weight of the pixel, times a share for
/// neighbourhoods that do not fit, times the square of the median scale of all frames over the frame's own where that is
/// larger, times its agreement. What is not explained by noise may still be explained by a displacement of a few
/// hundredths of a pixel, which the slope allows for: edges are no outliers.
/// @param forgiveness  times larger misfits weigh the same; 1 is the weight that an image is to be judged by
void weighByMisfit(const Grid& grid, std::vector<FrameState>& frames, float forgiveness = 1.0f);

/// Weights before there is an image: agreement where there is a value.
void weighByAgreement(std::vector<FrameState>& frames);

/// Finds sensor pixels whose values do not follow the scene: their misfit is large in the frames on average, and larger
/// than that of their neighbours. Frames count where they show what the reference shows. A hot spot of the scene moves
/// with it, so the image explains it. Takes three frames.
/// @return indices of pixels of a frame, ascending
std::vector<std::size_t> findDeadPixels(const Grid& grid, const std::vector<FrameState>& frames);

}  // namespace oravo::vision::detail::precise

#endif
