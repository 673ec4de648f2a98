#ifndef ORAVO_TOOLS_SIMULATE_SCENE_H
#define ORAVO_TOOLS_SIMULATE_SCENE_H

#include <opencv2/core.hpp>

namespace oravo::tools {

/// A thermal-like scene in degrees Celsius, between about -8 and 75: a lawn with texture under a sky
/// gradient, a building with windows, a hot machine, a cold tank, soft warm plumes, pipes and thin wires, bar
/// targets and a star target finer than a low-resolution pixel.
///
/// The scene is a function of the position, sampled on a grid of pixels with 4 x 4 samples each, so that its
/// sharp edges are free of steps. Objects lie at fixed fractions of the picture, fine targets have fixed
/// sizes in pixels.
/// @param picture  size of the picture in pixels
/// @param margin   pixels rendered around it on each side
/// @return (picture + 2 margin) in each direction; pixel (margin, margin) is the picture's first
cv::Mat_<float> renderScene(cv::Size picture, int margin);

}  // namespace oravo::tools

#endif
