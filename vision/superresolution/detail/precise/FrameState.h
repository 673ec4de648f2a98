#ifndef ORAVO_VISION_DETAIL_PRECISE_FRAMESTATE_H
#define ORAVO_VISION_DETAIL_PRECISE_FRAMESTATE_H

#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/precise/Motion.h"
#include "vision/superresolution/detail/precise/PreciseKernels.h"
#include "vision/superresolution/detail/precise/SplineGrid.h"

namespace oravo::vision::detail::precise {

/// A frame, its place and its weights. Images are dense, rows x columns of the frame. Values are those of the frame less the
/// reference's mean, over the reference's standard deviation, the unit in which everything below is computed.
struct FrameState {
    Buffer<float> values;  ///< 0 where the frame has none
    Buffer<float>
        present;  ///< 1 where the frame has a value that counts, 0 at defects and pixels that are left out
    Buffer<float> agreement;  ///< in [0, 1]: whether the frame shows there what the reference does
    Buffer<float> weight;     ///< of each value for the image
    Buffer<float> misfit;     ///< (value - offset) / gain - pattern - the image's value there; see `inside`
    Buffer<float> slope;      ///< length of the image's gradient there, a frame's pixel as the unit of length
    Buffer<float> inside;     ///< 1 where misfit and slope are known: a value that lies on the grid
    std::vector<SampleRun> runs;
    Motion motion;
    MotionModel model = MotionModel::translation;
    MotionErrors errors;
    double gain = 1.0;
    double offset = 0.0;
    double scale = 0.0;  ///< standard deviation of the misfit, by its median
    bool used = true;
};

}  // namespace oravo::vision::detail::precise

#endif
