#ifndef ORAVO_VISION_DETAIL_CHOICE_MEMORYNEEDS_H
#define ORAVO_VISION_DETAIL_CHOICE_MEMORYNEEDS_H

#include <cstdint>
#include <opencv2/core.hpp>

#include "vision/superresolution/detail/choice/PipelineTraits.h"

namespace oravo::vision::detail {

/// Bytes that frames of this size and number and their image take at the peak of a run, at most.
/// @param threads  that share the work, 0 for one on each processor
std::uint64_t memoryNeeded(PipelineKind kind, cv::Size size, int frames, int factor, int threads);

}  // namespace oravo::vision::detail

#endif
