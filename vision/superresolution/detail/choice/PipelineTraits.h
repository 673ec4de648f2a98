#ifndef ORAVO_VISION_DETAIL_CHOICE_PIPELINETRAITS_H
#define ORAVO_VISION_DETAIL_CHOICE_PIPELINETRAITS_H

#include <optional>

namespace oravo::vision::detail {

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

/// What the pipelines differ in.
struct PipelineTraits {
    const char* name;
    const char* alignment;  ///< why there is no other registration
    PipelineKind kind;
    int referenceIndex;                        ///< the default, or the only one
    std::optional<Registration> registration;  ///< the default, or the only one; none where it has no name
    bool choosesRegistration;
    bool choosesReference;
    bool knowsRawCounts;
    bool printsReport;
    bool sharesWork;  ///< between threads
};

/// One row for each pipeline, in the order of PipelineKind.
extern const PipelineTraits kPipelines[4];

const PipelineTraits& traitsOf(PipelineKind kind);

/// The least width and height of frames that a registration can align.
int leastSide(Registration registration);

}  // namespace oravo::vision::detail

#endif
