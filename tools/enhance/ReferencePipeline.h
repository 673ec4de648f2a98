#ifndef ORAVO_TOOLS_ENHANCE_REFERENCEPIPELINE_H
#define ORAVO_TOOLS_ENHANCE_REFERENCEPIPELINE_H

#include "tools/enhance/Pipelines.h"

namespace oravo::tools {

/// The pipeline of raw counts, run on float frames: raw counts come as whole floats, so that bad pixels are
/// repaired and the image keeps its fractions of a count.
std::unique_ptr<Pipeline> makeReferencePipeline(cv::Size size, const PipelineParameters& parameters);

}  // namespace oravo::tools

#endif
