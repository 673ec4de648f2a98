#ifndef ORAVO_TOOLS_ENHANCE_VECTORPIPELINE_H
#define ORAVO_TOOLS_ENHANCE_VECTORPIPELINE_H

#include "tools/enhance/Pipelines.h"

namespace oravo::tools {

/// The pipeline on vector operations. It repairs no bad pixels, and its masks are unavailable.
std::unique_ptr<Pipeline> makeVectorPipeline(cv::Size size, const PipelineParameters& parameters);

}  // namespace oravo::tools

#endif
