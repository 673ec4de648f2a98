#include <algorithm>

#include "capi/BurstEngine.h"
#include "capi/BurstError.h"
#include "support/Exception.h"
#include "vision/superresolution/detail/choice/Doubts.h"
#include "vision/superresolution/detail/memory/ReservedMemory.h"

namespace oravo::capi {
namespace {

using vision::SrPrecise;
using vision::SrPreciseFrame;
using vision::SrPreciseOptions;
using vision::SrPreciseResult;

oravo_burst_frame infoOf(const SrPreciseFrame& frame) {
    return {frame.used,    frame.dx,
            frame.dy,      frame.dxError,
            frame.dyError, {frame.linear[0][0], frame.linear[0][1], frame.linear[1][0], frame.linear[1][1]},
            frame.gain,    frame.offset,
            frame.misfit,  frame.weight};
}

/// What there is to doubt, the gravest first.
std::vector<std::string> warningsAbout(const SrPreciseResult& result,
                                       const std::vector<cv::Mat_<float>>& frames, std::size_t reference) {
    std::vector<std::string> warnings;
    const std::string doubt = vision::detail::doubtAbout(result, frames, reference);
    if (!doubt.empty()) warnings.push_back(doubt);
    std::vector<std::size_t> unused;
    for (std::size_t i = 0; i < result.frames.size(); ++i) {
        if (!result.frames[i].used) unused.push_back(i);
    }
    if (!unused.empty()) {
        warnings.push_back(namesOf(unused) +
                           ": nothing new in common with the reference frame was found; left out");
    }
    return warnings;
}

std::vector<BurstFigure> figuresOf(const SrPreciseResult& r) {
    return {{"contrast", r.contrast},
            {"noise", r.noise},
            {"smoothness", r.smoothness},
            {"withheld_error", r.withheldError},
            {"bicubic_error", r.bicubicError},
            {"withheld_pixels", static_cast<double>(r.withheldPixels)},
            {"gain_db", r.gain},
            {"trusted", r.trusted ? 1.0 : 0.0},
            {"leaning", r.leaning},
            {"share_on_reference", r.shareOnReference},
            {"dead_pixels", static_cast<double>(r.deadPixels.size())}};
}

class PreciseEngine final : public BurstEngine {
  public:
    PreciseEngine(const BurstSettings& settings, BurstCallbacks& callbacks)
        : memory_(settings.memory),
          keepsDead_(settings.options.keep_dead_pixels != 0),
          engine_(settings.size.width, settings.size.height, watched(settings.precise, callbacks)) {}

    /// Images until the next frame know what was found before this one and no more, so that they can be repeated.
    void add(const cv::Mat_<float>&, const std::vector<cv::Mat_<float>>&) override {
        if (keepsDead_) known_ = found_;
    }
    void clear() override {
        known_.clear();
        found_.clear();
    }

    void run(const std::vector<cv::Mat_<float>>& frames, int reference, BurstResult& result) override {
        vision::detail::requireMemory(static_cast<std::size_t>(memory_));
        const int place = static_cast<int>(frames.size()) - 1 - reference;
        SrPreciseResult found = compute(frames, place);
        result.warnings = warningsAbout(found, frames, static_cast<std::size_t>(place));
        result.figures = figuresOf(found);
        result.frames.clear();
        for (const SrPreciseFrame& frame : found.frames) result.frames.push_back(infoOf(frame));
        result.knowsSensor = true;
        result.pattern = std::move(found.pattern);
        found_ = found.deadPixels;
        result.deadPixels = std::move(found.deadPixels);
        result.deviation = std::move(found.deviation);
        result.weight = std::move(found.weight);
        result.image = std::move(found.image);
    }

  private:
    static SrPreciseOptions watched(SrPreciseOptions options, BurstCallbacks& callbacks) {
        options.progress = [&callbacks](double share) { return callbacks.goesOn(share); };
        return options;
    }

    /// All arguments are valid, so what is refused is a reference frame without any value.
    SrPreciseResult compute(const std::vector<cv::Mat_<float>>& frames, int reference) const {
        try {
            return engine_.compute(frames, reference, known_);
        } catch (const Exception& exception) {
            if (exception.kind() != Exception::Kind::badArgument) throw;
            throw BurstFailure(ORAVO_BURST_FRAME, exception.message());
        }
    }

    std::uint64_t memory_;
    bool keepsDead_;
    std::vector<cv::Point> known_, found_;  ///< dead pixels, before the latest frame and by the latest image
    SrPrecise engine_;
};

}  // namespace

std::unique_ptr<BurstEngine> makePreciseEngine(const BurstSettings& settings, BurstCallbacks& callbacks) {
    return std::make_unique<PreciseEngine>(settings, callbacks);
}

}  // namespace oravo::capi
