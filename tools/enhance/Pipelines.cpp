#include "tools/enhance/Pipelines.h"

#include <algorithm>
#include <limits>

#include "support/Exception.h"
#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "vision/superresolution/SrPrecise.h"
#include "vision/superresolution/detail/choice/MemoryNeeds.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::tools {
namespace {

using vision::detail::PipelineTraits;
using vision::detail::traitsOf;

UserError unknownTo(const PipelineTraits& offer, const char* option, const char* reason) {
    return {ExitCode::kUsage, std::string(option) + ": the " + offer.name + " pipeline " + reason};
}

}  // namespace

std::vector<std::string> pipelineNames() {
    std::vector<std::string> names;
    for (const PipelineTraits& offer : vision::detail::kPipelines) names.emplace_back(offer.name);
    return names;
}

std::optional<PipelineKind> pipelineNamed(const std::string& name) {
    for (const PipelineTraits& offer : vision::detail::kPipelines) {
        if (name == offer.name) return offer.kind;
    }
    return std::nullopt;
}

std::string nameOf(PipelineKind kind) {
    return traitsOf(kind).name;
}

void settlePipeline(PipelineParameters& p) {
    const PipelineTraits& offer = traitsOf(p.kind);
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
    if (p.threads != 1 && !offer.sharesWork) throw unknownTo(offer, "--threads", "works on one thread");
    if (p.timing && !offer.printsReport) throw unknownTo(offer, "--timing", "prints no report");
}

void requireUsableSize(cv::Size size, const PipelineParameters& p, const std::string& name) {
    const bool phase = p.registration == Registration::phase;
    const std::string frames = format("%s: frames of %d x %d pixels ", name.c_str(), size.width, size.height);
    if (p.kind == PipelineKind::precise) {
        constexpr int kLeast = vision::SrPrecise::kMinSide;
        if (size.width < kLeast || size.height < kLeast) {
            throw inputError(frames + format("are too small; the precise pipeline takes at least %d x %d",
                                             kLeast, kLeast));
        }
        requireMemory(vision::detail::memoryNeeded(p.kind, size, p.frames, Pipeline::kFactor, p.threads),
                      frames.substr(0, frames.size() - 1));
        return;
    }
    const int least = vision::detail::leastSide(p.registration.value());
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

PlausibleRange plausibleFor(const PipelineParameters& p) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    if (p.kind == PipelineKind::vector) return {-kInfinity, kInfinity};
    return PlausibleRange::of(p.rawCounts);
}

std::unique_ptr<Pipeline> makePipeline(cv::Size size, const PipelineParameters& p) {
    if (p.kind == PipelineKind::precise)
        throw unknownTo(traitsOf(p.kind), "window", "does not work on five frames");
    vision::detail::WindowParameters chosen;
    chosen.kind = p.kind;
    chosen.registration = p.registration.value();
    chosen.referenceIndex = p.referenceIndex.value();
    chosen.psfSigma = p.psfSigma;
    chosen.tvWeight = p.tvWeight;
    chosen.iterations = p.iterations;
    chosen.relativeResidue = p.relativeResidue;
    chosen.registrationError = p.registrationError;
    chosen.threads = p.threads;
    chosen.rawCounts = p.rawCounts;
    chosen.report = p.timing;
    return vision::detail::makeWindowPipeline(size, chosen);
}

}  // namespace oravo::tools
