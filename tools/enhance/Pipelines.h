#ifndef ORAVO_TOOLS_ENHANCE_PIPELINES_H
#define ORAVO_TOOLS_ENHANCE_PIPELINES_H

#include <cmath>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/values/PlausibleRange.h"
#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/choice/WindowPipeline.h"

namespace oravo::tools {

using vision::detail::PipelineKind;
using vision::detail::Registration;
using Pipeline = vision::detail::WindowPipeline;

struct PipelineParameters {
    PipelineKind kind = PipelineKind::precise;
    std::optional<Registration> registration;  ///< none: the pipeline's own; settlePipeline() fills it in
    std::optional<int> referenceIndex;         ///< counted back from the window's newest frame; likewise
    float psfSigma = vision::defaults::kPsfSigma;
    float psfBox = 0.0f;  ///< side of a pixel's square, see SrPreciseOptions
    /// Standard deviation of the whole blur, in pixels of the image.
    float blurSpread() const { return std::sqrt(psfSigma * psfSigma + psfBox * psfBox / 12.0f); }
    float tvWeight = vision::defaults::kWeightTV;
    int iterations = vision::defaults::kMaxCGIters;
    float relativeResidue = vision::defaults::kRelativeResidue;
    float registrationError = vision::defaults::kRegError;
    bool rawCounts = false;
    int frames = 12;          ///< of the precise pipeline: the most that an image is made of
    double smoothness = 0.0;  ///< of the precise pipeline: weight of its prior; 0 lets it choose
    bool findPattern = true;  ///< of the precise pipeline
    int threads = 1;          ///< that share the work on one image; 0: one on each processor
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

/// What the pipeline does not take for a defect. The vector pipeline takes everything as it is.
PlausibleRange plausibleFor(const PipelineParameters& parameters);

/// A pipeline of five frames. Throws what the library throws for parameters that it refuses. The parameters have to be
/// settled.
std::unique_ptr<Pipeline> makePipeline(cv::Size size, const PipelineParameters& parameters);

}  // namespace oravo::tools

#endif
