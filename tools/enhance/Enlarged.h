#ifndef ORAVO_TOOLS_ENHANCE_ENLARGED_H
#define ORAVO_TOOLS_ENHANCE_ENLARGED_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/enhance/Pipelines.h"
#include "vision/superresolution/SrPrecise.h"
#include "vision/superresolution/detail/choice/Doubts.h"
#include "vision/superresolution/detail/pipeline/TimingReport.h"

namespace oravo::tools {

struct EnhanceParameters : PipelineParameters {
    bool guarded = true;       ///< acts on what is found wrong with the frames
    bool chooseWeight = true;  ///< when guarded, the TV weight may be lowered for noisy frames
};

/// Pixels of an enlarged image that no frame had a value for.
struct WithoutValue {
    int overRange = 0;   ///< too hot for the camera, or for the plausible range
    int underRange = 0;  ///< too cold
    int bad = 0;         ///< defective, or no number

    int total() const { return overRange + underRange + bad; }
};

/// Puts NaN in place of the library's status codes, which would pass for numbers next to 0.
WithoutValue markWithoutValue(cv::Mat_<float>& image);

/// An enlarged image and what the library reported about it.
struct Enlarged {
    cv::Mat_<float> image;            ///< NaN where there is no value
    WithoutValue withoutValue;        ///< how often
    float gain = 0.0f;                ///< estimated resolution gain; 0 where it is unknown
    std::string warning;              ///< empty where all went well
    std::vector<cv::Point2f> shifts;  ///< of the frames that take part against the reference, oldest first
    std::vector<std::size_t> frames;  ///< their numbers in the recording
    std::size_t newest = 0;           ///< number of the newest frame that was looked at
    std::size_t reference = 0;        ///< number of the frame whose grid the image lies on
    std::vector<cv::Mat_<float>> inputs;  ///< the frames as they were given
    std::vector<cv::Mat_<uchar>> masks;   ///< on the reference's grid: 1 where a frame agrees with it
    EnhanceParameters parameters;         ///< that it was computed with
    vision::detail::StageTimes stages;    ///< what took how long
    double seconds = 0.0;                 ///< that all of it took

    /// What the precise pipeline found out, with an entry for each frame that takes part; null for the others.
    std::shared_ptr<const vision::SrPreciseResult> precise;
    std::vector<std::size_t> leftOut;  ///< numbers of frames that the precise pipeline has no use for

    /// Where the reference stands among frames, shifts and inputs.
    std::size_t placeOfReference() const {
        return static_cast<std::size_t>(std::find(frames.begin(), frames.end(), reference) - frames.begin());
    }
};

using vision::detail::decibelsOverBicubic;

/// Why a window of frames gave no image, in words for its user.
struct Refusal {
    std::string reason;
    std::optional<std::size_t> position;  ///< of the frame in the window, where one is to blame
};

}  // namespace oravo::tools

#endif
