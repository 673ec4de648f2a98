#ifndef ORAVO_CAPI_BURSTOPTIONS_H
#define ORAVO_CAPI_BURSTOPTIONS_H

#include <opencv2/core.hpp>

#include "capi/Burst.h"
#include "vision/superresolution/SrPrecise.h"
#include "vision/superresolution/detail/choice/WindowPipeline.h"

namespace oravo::capi {

/// The options of a burst, checked and settled.
struct BurstSettings {
    oravo_burst_options options;  ///< with nothing left to the pipeline
    cv::Size size;
    vision::detail::PipelineKind kind;
    vision::SrPreciseOptions precise;
    vision::detail::WindowParameters window;
    /// The pipeline has another range of its own, so values outside the limits are marked on intake.
    bool marksValuesOutside = false;
    std::uint64_t memory = 0;  ///< bytes that the burst takes at most
};

oravo_burst_options defaultBurstOptions();

/// Throws oravo::Exception of kind badArgument, naming what is wrong with which value.
/// @param given  null for the defaults; only the fields that lie within its size are read
BurstSettings settledOptions(int width, int height, const oravo_burst_options* given);

}  // namespace oravo::capi

#endif
