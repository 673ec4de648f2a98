#ifndef ORAVO_TOOLS_ENHANCE_PIPELINES_H
#define ORAVO_TOOLS_ENHANCE_PIPELINES_H

#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/pipeline/RunAccess.h"

namespace oravo::tools {

/// The library's ways from frames to an image.
enum class PipelineKind {
    precise,        ///< SrPrecise
    floatingPoint,  ///< SrFloat
    vector,         ///< SrFloatNeon
    reference       ///< SuperResolution
};

/// How the frames of a burst are aligned.
enum class Registration {
    corners,  ///< tracked corners
    phase     ///< phase correlation; even widths only
};

struct PipelineParameters {
    PipelineKind kind = PipelineKind::precise;
    std::optional<Registration> registration;  ///< none: the pipeline's own; settlePipeline() fills it in
    std::optional<int> referenceIndex;         ///< counted back from the window's newest frame; likewise
    float psfSigma = vision::defaults::kPsfSigma;
    float tvWeight = vision::defaults::kWeightTV;
    int iterations = vision::defaults::kMaxCGIters;
    float relativeResidue = vision::defaults::kRelativeResidue;
    float registrationError = vision::defaults::kRegError;
    bool rawCounts = false;
    int frames = 12;          ///< of the precise pipeline: the most that an image is made of
    double smoothness = 0.0;  ///< of the precise pipeline: weight of its prior; 0 lets it choose
    bool timing = false;      ///< lets the library's timing report through to standard output
};

/// The names of the pipelines on offer, and the pipeline of a name.
std::vector<std::string> pipelineNames();
std::optional<PipelineKind> pipelineNamed(const std::string& name);
std::string nameOf(PipelineKind kind);

/// Fills in what was left to the pipeline. Throws UserError, naming the option, for a choice that the pipeline
/// does not have.
void settlePipeline(PipelineParameters& parameters);

/// Throws UserError, naming the first frame, for frames of a size that the pipeline, with its parameters settled, cannot
/// align or enlarge.
void requireUsableSize(cv::Size size, const PipelineParameters& parameters, const std::string& name);

/// What the program needs of the library's pipelines of five frames, whatever their class; see SrFloat.
class Pipeline {
  public:
    static constexpr int kWindowSize = vision::defaults::kWindowSize;
    static constexpr int kFactor = static_cast<int>(vision::defaults::kFactor);

    Pipeline() = default;
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    virtual ~Pipeline() = default;

    virtual int addFrame(const cv::Mat_<float>& frame) = 0;
    virtual float computeSR(cv::Mat_<float>& out) = 0;
    virtual std::vector<cv::Point2f> completeShifts() const = 0;
    /// Of the last run, oldest first: 1 where a frame agrees with the reference; empty where masks are unavailable.
    virtual std::vector<cv::Mat_<uchar>> masks() const { return {}; }
    /// Of the last run; empty for a pipeline that does not report them.
    virtual vision::detail::StageTimes stageTimes() const { return {}; }
};

/// A pipeline of five frames. Throws what the library throws for parameters that it refuses. The parameters have to be
/// settled.
std::unique_ptr<Pipeline> makePipeline(cv::Size size, const PipelineParameters& parameters);

/// The masks of a pipeline's last run.
template <class Library>
std::vector<cv::Mat_<uchar>> masksOf(const Library& pipeline) {
    std::vector<cv::Mat_<uchar>> masks;
    pipeline.getMasks(masks);
    return masks;
}

/// The parameters that all pipelines share, and whether their runs print a report.
template <class Library>
void applySharedParameters(Library& pipeline, const PipelineParameters& p) {
    vision::detail::RunAccess::setReports(pipeline, p.timing);
    pipeline.setPsfSigma(p.psfSigma);
    pipeline.setWeightTV(p.tvWeight);
    pipeline.setMaxCGIters(p.iterations);
    pipeline.setRelativeResidue(p.relativeResidue);
    pipeline.setRegError(p.registrationError);
}

}  // namespace oravo::tools

#endif
