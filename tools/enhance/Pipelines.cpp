#include "tools/enhance/Pipelines.h"

#include <algorithm>
#include <iterator>

#include "support/Exception.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/enhance/ReferencePipeline.h"
#include "tools/enhance/VectorPipeline.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::tools {
namespace {

template <class Registration>
class FloatPipeline final : public Pipeline {
  public:
    FloatPipeline(cv::Size size, const PipelineParameters& p)
        : pipeline_(size.width, size.height, kWindowSize, static_cast<float>(kFactor)) {
        pipeline_.setReferenceIndex(p.referenceIndex.value());
        applySolverParameters(pipeline_, p);
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
    Registration registration;  // the default, or the only one
    bool choosesRegistration;
    int referenceIndex;  // the default, or the only one
    bool choosesReference;
    bool knowsRawCounts;
    bool printsReport;
};

constexpr Offer kOffers[] = {
    {PipelineKind::floatingPoint, "float", makeFloat, Registration::corners, true, 3, true, true, true},
    {PipelineKind::vector, "vector", makeVectorPipeline, Registration::corners, false, 3, true, false, false},
    {PipelineKind::reference, "reference", makeReferencePipeline, Registration::phase, false, 0, false, true,
     true},
};

const Offer& offerOf(PipelineKind kind) {
    return *std::find_if(std::begin(kOffers), std::end(kOffers),
                         [kind](const Offer& offer) { return offer.kind == kind; });
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

void settlePipeline(PipelineParameters& p) {
    const Offer& offer = offerOf(p.kind);
    p.registration = p.registration.value_or(offer.registration);
    if (!offer.choosesRegistration && p.registration != offer.registration) {
        const bool phase = offer.registration == Registration::phase;
        throw unknownTo(offer, "--registration",
                        phase ? "aligns frames by phase correlation only" : "aligns frames by corners only");
    }
    p.referenceIndex = p.referenceIndex.value_or(offer.referenceIndex);
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
    return offerOf(parameters.kind).make(size, parameters);
}

}  // namespace oravo::tools
