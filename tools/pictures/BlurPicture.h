#ifndef ORAVO_TOOLS_PICTURES_BLURPICTURE_H
#define ORAVO_TOOLS_PICTURES_BLURPICTURE_H

#include <opencv2/core.hpp>

#include "tools/measure/BlurMeter.h"

namespace oravo::tools {

/// A picture (B, G, R) of what an edge shows about a camera: on the left the modulation transfer function, on the right the
/// edge itself, each as measured and as the better model has it.
cv::Mat drawBlur(const BlurMeasurement& measured);

}  // namespace oravo::tools

#endif
