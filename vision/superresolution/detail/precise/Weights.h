#ifndef ORAVO_VISION_DETAIL_PRECISE_WEIGHTS_H
#define ORAVO_VISION_DETAIL_PRECISE_WEIGHTS_H

#include <vector>

#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Sets the weights of each frame's values from their misfit: Cauchy's weight of the pixel, times a share for
/// neighbourhoods that do not fit, times the square of the median scale of all frames over the frame's own where that is
/// larger, times its agreement. What is not explained by noise may still be explained by a displacement of a few
/// hundredths of a pixel, which the slope allows for: edges are no outliers.
/// @param forgiveness  times larger misfits weigh the same; 1 is the weight that an image is to be judged by
void weighByMisfit(const Grid& grid, std::vector<FrameState>& frames, float forgiveness = 1.0f);

/// Weights before there is an image: agreement where there is a value.
void weighByAgreement(std::vector<FrameState>& frames);

}  // namespace oravo::vision::detail::precise

#endif
