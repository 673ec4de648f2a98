#include "vision/superresolution/detail/choice/PipelineTraits.h"

#include "vision/superresolution/Defaults.h"

namespace oravo::vision::detail {

const PipelineTraits kPipelines[4] = {
    {"precise", "aligns frames by a fit of its own", PipelineKind::precise, defaults::kReferenceIndex,
     std::nullopt, false, true, true, false, true},
    {"float", "", PipelineKind::floatingPoint, defaults::kReferenceIndex, Registration::corners, true, true,
     true, true, true},
    {"vector", "aligns frames by corners only", PipelineKind::vector, defaults::kReferenceIndex,
     Registration::corners, false, true, false, false, false},
    {"reference", "aligns frames by phase correlation only", PipelineKind::reference, 0, Registration::phase,
     false, false, true, true, false},
};

const PipelineTraits& traitsOf(PipelineKind kind) {
    return kPipelines[static_cast<int>(kind)];
}

int leastSide(Registration registration) {
    // Corners do not lie on the border. Frames have to move by less than half their height, rounded down, which a single
    // row cannot.
    return registration == Registration::phase ? 2 : 3;
}

}  // namespace oravo::vision::detail
