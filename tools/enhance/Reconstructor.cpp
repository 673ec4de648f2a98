#include "tools/enhance/Reconstructor.h"

#include "tools/enhance/PreciseRunner.h"
#include "tools/enhance/WindowRunner.h"

namespace oravo::tools {

RecordingRules rulesFor(const EnhanceParameters& parameters, bool every) {
    RecordingRules rules;
    rules.guarded = parameters.guarded;
    rules.every = every;
    if (parameters.kind == PipelineKind::precise) {
        // Each frame has a level of its own in this model, and frames that fit badly count for little.
        rules.levelsCount = false;
        rules.wantsDetail = false;
        rules.least = 1;
        rules.window = static_cast<std::size_t>(parameters.frames);
        return rules;
    }
    rules.least = rules.window = rules.spare = static_cast<std::size_t>(Pipeline::kWindowSize);
    return rules;
}

std::unique_ptr<Reconstructor> makeReconstructor(cv::Size frameSize, const EnhanceParameters& parameters,
                                                 bool every, Findings& findings,
                                                 std::function<void(double)> progress) {
    if (parameters.kind == PipelineKind::precise) {
        return std::make_unique<PreciseRunner>(frameSize, parameters, findings, std::move(progress));
    }
    return std::make_unique<WindowRunner>(frameSize, parameters, every, findings);
}

}  // namespace oravo::tools
