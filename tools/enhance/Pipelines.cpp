#include "tools/enhance/Pipelines.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "support/Exception.h"
#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/enhance/ReferencePipeline.h"
#include "tools/enhance/VectorPipeline.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SrPrecise.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::tools {
namespace {

template <class Registration>
class FloatPipeline final : public Pipeline {
  public:
    FloatPipeline(cv::Size size, const PipelineParameters& p)
        : pipeline_(size.width, size.height, kWindowSize, static_cast<float>(kFactor)) {
        pipeline_.setReferenceIndex(p.referenceIndex.value());
        applySharedParameters(pipeline_, p);
        pipeline_.setDataIsNUC(p.rawCounts);
    }

    int addFrame(const cv::Mat_<float>& frame) override { return pipeline_.addFrame(frame); }
    float computeSR(cv::Mat_<float>& out) override { return pipeline_.computeSR(out); }
    std::vector<cv::Point2f> completeShifts() const override {
        std::vector<cv::Point2f> shifts;
        pipeline_.getCompleteShifts(shifts);
        return shifts;
    }
    std::vector<cv::Mat_<uchar>> masks() const override { return masksOf(pipeline_); }
    vision::detail::StageTimes stageTimes() const override {
        return vision::detail::RunAccess::stageTimes(pipeline_);
    }

  private:
    vision::SrFloat<Registration> pipeline_;
};

std::unique_ptr<Pipeline> makeFloat(cv::Size size, const PipelineParameters& parameters) {
    if (parameters.registration == Registration::phase) {
        return std::make_unique<FloatPipeline<vision::SrFloatRegistration1>>(size, parameters);
    }
    return std::make_unique<FloatPipeline<vision::SrFloatRegistration2>>(size, parameters);
}

/// What the pipelines differ in; one row for each on offer.
struct Offer {
    PipelineKind kind;
    const char* name;
    std::unique_ptr<Pipeline> (*make)(cv::Size, const PipelineParameters&);
    std::optional<Registration> registration;  // the default, or the only one; none where it has no name
    bool choosesRegistration;
    int referenceIndex;  // the default, or the only one
    bool choosesReference;
    bool knowsRawCounts;
    bool printsReport;
    const char* alignment;  // why there is no other registration
};

constexpr Offer kOffers[] = {
    {PipelineKind::precise, "precise", nullptr, std::nullopt, false, vision::defaults::kReferenceIndex, true,
     true, false, "aligns frames by a fit of its own"},
    {PipelineKind::floatingPoint, "float", makeFloat, Registration::corners, true,
     vision::defaults::kReferenceIndex, true, true, true, ""},
    {PipelineKind::vector, "vector", makeVectorPipeline, Registration::corners, false,
     vision::defaults::kReferenceIndex, true, false, false, "aligns frames by corners only"},
    {PipelineKind::reference, "reference", makeReferencePipeline, Registration::phase, false, 0, false, true,
     true, "aligns frames by phase correlation only"},
};

const Offer& offerOf(PipelineKind kind) {
    return *std::find_if(std::begin(kOffers), std::end(kOffers),
                         [kind](const Offer& offer) { return offer.kind == kind; });
}

/// What the precise pipeline takes at its peak, which it allocates as it goes.
std::uint64_t memoryOfPrecise(cv::Size size, int frames) {
    // Peaks of runs at 160 x 120 to 1280 x 960 with 1 to 64 frames, and a tenth more.
    constexpr std::uint64_t kPerPixel = 350, kPerValue = 44;
    return (kPerPixel + kPerValue * static_cast<std::uint64_t>(frames)) *
           static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height);
}

UserError unknownTo(const Offer& offer, const char* option, const char* reason) {
    return {ExitCode::kUsage, std::string(option) + ": the " + offer.name + " pipeline " + reason};
}

}  // namespace

std::vector<std::string> pipelineNames() {
    std::vector<std::string> names;
    for (const Offer& offer : kOffers) names.emplace_back(offer.name);
    return names;
}

std::optional<PipelineKind> pipelineNamed(const std::string& name) {
    for (const Offer& offer : kOffers) {
        if (name == offer.name) return offer.kind;
    }
    return std::nullopt;
}

std::string nameOf(PipelineKind kind) {
    return offerOf(kind).name;
}

void settlePipeline(PipelineParameters& p) {
    const Offer& offer = offerOf(p.kind);
    const bool precise = p.kind == PipelineKind::precise;
    if (!p.registration) p.registration = offer.registration;
    if (!offer.choosesRegistration && p.registration != offer.registration) {
        throw unknownTo(offer, "--registration", offer.alignment);
    }
    const int window = precise ? p.frames : Pipeline::kWindowSize;
    p.referenceIndex = p.referenceIndex.value_or(std::min(offer.referenceIndex, window - 1));
    if (*p.referenceIndex >= window) {
        throw UserError(
            ExitCode::kUsage,
            format("--reference-index %d: an image is made of %d frames, counted back from 0 to %d",
                   *p.referenceIndex, window, window - 1));
    }
    if (!offer.choosesReference && p.referenceIndex != offer.referenceIndex) {
        throw unknownTo(offer, "--reference-index", "always refers to the newest frame");
    }
    if (p.rawCounts && !offer.knowsRawCounts) {
        throw unknownTo(offer, "--nuc", "takes values of any range as they are");
    }
    if (p.timing && !offer.printsReport) throw unknownTo(offer, "--timing", "prints no report");
}

void requireUsableSize(cv::Size size, const PipelineParameters& p, const std::string& name) {
    const bool phase = p.registration == Registration::phase;
    const std::string frames = format("%s: frames of %d x %d pixels ", name.c_str(), size.width, size.height);
    // Corners lie off the border. Frames may move by less than half their height without its fraction, in one row by
    // less than nothing.
    const int least = phase ? 2 : 3;
    if (p.kind == PipelineKind::precise) {
        constexpr int kLeast = vision::SrPrecise::kMinSide;
        if (size.width < kLeast || size.height < kLeast) {
            throw inputError(frames + format("are too small; the precise pipeline takes at least %d x %d",
                                             kLeast, kLeast));
        }
        requireMemory(memoryOfPrecise(size, p.frames), frames.substr(0, frames.size() - 1));
        return;
    }
    if (size.width < least || size.height < least) {
        throw inputError(frames + format("are too small; aligning them by %s takes at least %d x %d",
                                         phase ? "phase correlation" : "corners", least, least));
    }
    try {
        vision::detail::enlarged({size.width, size.height}, static_cast<float>(Pipeline::kFactor),
                                 {"tools/enhance/Pipelines", __LINE__, "requireUsableSize"});
    } catch (const Exception&) {
        throw inputError(frames + format("are too large to be enlarged by %d", Pipeline::kFactor));
    }
    if (phase && size.width % 2 != 0) {
        throw UserError(
            ExitCode::kUsage,
            frames + format("have an odd width, but phase correlation takes even ones only; --crop "
                            "%dx%d leaves a column out",
                            size.width - 1, size.height));
    }
}

std::unique_ptr<Pipeline> makePipeline(cv::Size size, const PipelineParameters& parameters) {
    const Offer& offer = offerOf(parameters.kind);
    if (offer.make == nullptr) throw unknownTo(offer, "window", "does not work on five frames");
    return offer.make(size, parameters);
}

}  // namespace oravo::tools
