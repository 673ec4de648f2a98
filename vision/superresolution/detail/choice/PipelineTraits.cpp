#include "vision/superresolution/detail/choice/PipelineTraits.h"

#include "vision/superresolution/Defaults.h"

namespace oravo::vision::detail {

const PipelineTraits kPipelines[4] = {
    {PipelineKind::precise, "precise", std::nullopt, false, defaults::kReferenceIndex, true, true, false,
     "aligns frames by a fit of its own"},
    {PipelineKind::floatingPoint, "float", Registration::corners, true, defaults::kReferenceIndex, true, true,
     true, ""},
    {PipelineKind::vector, "vector", Registration::corners, false, defaults::kReferenceIndex, true, false,
     false, "aligns frames by corners only"},
    {PipelineKind::reference, "reference", Registration::phase, false, 0, false, true, true,
     "aligns frames by phase correlation only"},
};

const PipelineTraits& traitsOf(PipelineKind kind) {
    return kPipelines[static_cast<int>(kind)];
}

int leastSide(Registration registration) {
    // Corners lie off the border. Frames may move by less than half their height without its fraction, in one row by
    // less than nothing.
    return registration == Registration::phase ? 2 : 3;
}

}  // namespace oravo::vision::detail
