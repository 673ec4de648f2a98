#ifndef ORAVO_VISION_DETAIL_CHOICE_WINDOWPIPELINE_H
#define ORAVO_VISION_DETAIL_CHOICE_WINDOWPIPELINE_H

#include <functional>
#include <memory>
#include <opencv2/core.hpp>
#include <vector>

#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/choice/PipelineTraits.h"
#include "vision/superresolution/detail/pipeline/RunAccess.h"

namespace oravo::vision::detail {

/// Parameters of the pipelines that work on a window of frames; see the setters of SrFloat.
struct WindowParameters {
    PipelineKind kind = PipelineKind::floatingPoint;  ///< any but precise
    Registration registration = Registration::corners;
    int windowSize = defaults::kWindowSize;
    int referenceIndex = defaults::kReferenceIndex;  ///< counted back from the window's newest frame
    float psfSigma = defaults::kPsfSigma;
    float tvWeight = defaults::kWeightTV;
    int iterations = defaults::kMaxCGIters;
    float relativeResidue = defaults::kRelativeResidue;
    float registrationError = defaults::kRegError;
    int threads = 1;  ///< that share the work, see SrFloat::setThreads(); the float pipeline's
    bool rawCounts = false;
    bool report = false;                   ///< runs print the library's timing report
    std::function<void(double)> progress;  ///< see RunAccess::setProgress(); may be empty
};

/// What hosts need of a pipeline on a window of frames, whatever its class; see SrFloat.
class WindowPipeline {
  public:
    static constexpr int kWindowSize = defaults::kWindowSize;
    static constexpr int kFactor = static_cast<int>(defaults::kFactor);

    WindowPipeline() = default;
    WindowPipeline(const WindowPipeline&) = delete;
    WindowPipeline& operator=(const WindowPipeline&) = delete;
    virtual ~WindowPipeline() = default;

    virtual int addFrame(const cv::Mat_<float>& frame) = 0;
    virtual float computeSR(cv::Mat_<float>& out) = 0;
    /// For frames still in the window; only the pipelines that choose their reference take another than 0.
    virtual void setReferenceIndex(int index) = 0;
    virtual std::vector<cv::Point2f> completeShifts() const = 0;
    /// Of the last run, oldest first: 1 where a frame agrees with the reference; empty where masks are unavailable.
    virtual std::vector<cv::Mat_<uchar>> masks() const { return {}; }
    /// Of the last run; empty for a pipeline that does not report them.
    virtual StageTimes stageTimes() const { return {}; }
};

/// Throws what the library throws for parameters that it refuses.
std::unique_ptr<WindowPipeline> makeWindowPipeline(cv::Size size, const WindowParameters& parameters);

}  // namespace oravo::vision::detail

#endif
