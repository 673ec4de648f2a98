#ifndef ORAVO_TOOLS_SIMULATE_BURSTSIMULATOR_H
#define ORAVO_TOOLS_SIMULATE_BURSTSIMULATOR_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "vision/superresolution/Defaults.h"

namespace oravo::tools {

struct SimulationParameters {
    cv::Size frameSize{160, 120};
    std::vector<cv::Point2f> shifts;  ///< one for each frame, in frame pixels: frame(p + d) = reference(p)
    float psfSigma = vision::defaults::kPsfSigma;  ///< in pixels of the enlarged image
    double noise = 0.05;                           ///< standard deviation, in degrees Celsius
    int defects = 0;  ///< isolated defective pixels, at the same places in every frame
    std::uint64_t seed = 1;
    cv::Mat_<float> scene;  ///< a sharp picture whose middle is seen; empty: the rendered scene
};

struct Burst {
    std::vector<cv::Mat_<float>> frames;
    cv::Mat_<float> truth;  ///< the sharp scene at twice the size, on the grid of a frame with shift (0, 0)
};

/// Shifts drawn evenly from [-largest, largest] in x and y, rounded to millionths; (0, 0) for the reference.
std::vector<cv::Point2f> randomShifts(int count, int reference, double largest, std::uint64_t seed);

/// Renders the scene and takes frames of it with the library's own model: the scene, offset by the
/// whole-pixel part of the shift, blurred by the point-spread function moved by the rest, sampled at every
/// second pixel; then Gaussian noise and status codes. The centre of frame pixel i lies at position 2 i + 0.5
/// of the truth. Throws UserError when there is no room for the defects, a shift is larger than the frame, a given
/// scene is too small, or all of it needs more memory than there is.
Burst simulateBurst(const SimulationParameters& parameters);

}  // namespace oravo::tools

#endif
