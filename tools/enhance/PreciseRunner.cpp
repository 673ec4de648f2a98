#include "tools/enhance/PreciseRunner.h"

#include <algorithm>

#include "support/StopWatch.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/values/PlausibleRange.h"

namespace oravo::tools {
namespace {

/// Keeps what the engine found out about frames that take part, and the numbers of the others.
void divideFrames(vision::SrPreciseResult& result, const Frames& window, Enlarged& enlarged) {
    std::vector<vision::SrPreciseFrame> used;
    for (std::size_t i = 0; i < window.size(); ++i) {
        const vision::SrPreciseFrame& frame = result.frames[i];
        if (!frame.used) {
            enlarged.leftOut.push_back(window[i]->number);
            continue;
        }
        enlarged.frames.push_back(window[i]->number);
        enlarged.inputs.push_back(window[i]->values);
        enlarged.shifts.emplace_back(static_cast<float>(frame.dx), static_cast<float>(frame.dy));
        used.push_back(frame);
    }
    result.frames = std::move(used);
}

}  // namespace

vision::SrPrecise preciseEngine(cv::Size size, const EnhanceParameters& p,
                                std::function<void(double)> progress) {
    vision::SrPreciseOptions options;
    const PlausibleRange range = PlausibleRange::of(p.rawCounts);
    options.factor = Pipeline::kFactor;
    options.psfSigma = p.psfSigma;
    options.psfBox = p.psfBox;
    options.lowest = range.lowest;
    options.highest = range.highest;
    options.smoothness = p.smoothness;
    options.findPattern = p.findPattern;
    options.threads = p.threads;
    if (progress) {
        options.progress = [progress = std::move(progress)](double share) {
            progress(share);
            return true;
        };
    }
    try {
        return {size.width, size.height, options};
    } catch (...) {
        if (currentExceptionIsLackOfMemory()) throw;
        throw UserError(ExitCode::kUsage, currentExceptionText());
    }
}

PreciseRunner::PreciseRunner(cv::Size frameSize, const EnhanceParameters& parameters, Findings& findings,
                             std::function<void(double)> progress)
    : parameters_(parameters),
      findings_(findings),
      engine_(preciseEngine(frameSize, parameters, std::move(progress))) {
}

std::optional<Enlarged> PreciseRunner::run(const Frames& pool, Refusal& refusal) {
    const std::size_t count = std::min(pool.size(), static_cast<std::size_t>(parameters_.frames));
    const Frames window(pool.end() - static_cast<std::ptrdiff_t>(count), pool.end());
    const std::size_t back = std::min(static_cast<std::size_t>(*parameters_.referenceIndex), count - 1);
    const std::size_t reference = count - 1 - back;
    std::vector<cv::Mat_<float>> frames;
    for (const RecordedFrame* frame : window) frames.push_back(frame->values);

    Enlarged enlarged;
    auto result = std::make_shared<vision::SrPreciseResult>();
    try {
        StopWatch watch;
        *result = engine_.compute(frames, static_cast<int>(reference), dead_);
        enlarged.seconds = watch.stop();
    } catch (...) {
        if (currentExceptionIsLackOfMemory()) throw;
        refusal.reason = currentExceptionText();
        refusal.position = reference;
        return std::nullopt;
    }
    dead_ = result->deadPixels;
    enlarged.image = result->image;
    enlarged.withoutValue = markWithoutValue(enlarged.image);
    divideFrames(*result, window, enlarged);
    enlarged.newest = window.back()->number;
    enlarged.reference = window[reference]->number;
    enlarged.parameters = parameters_;
    enlarged.parameters.referenceIndex = static_cast<int>(back);
    enlarged.precise = std::move(result);
    enlarged.warning =
        vision::detail::doubtAbout(*enlarged.precise, enlarged.inputs, enlarged.placeOfReference());
    sayDoubts(enlarged);
    return enlarged;
}

void PreciseRunner::sayDoubts(const Enlarged& enlarged) {
    std::vector<std::size_t> unsaid;
    for (const std::size_t number : enlarged.leftOut) {
        if (leftOut_.add(number)) unsaid.push_back(number);
    }
    if (!unsaid.empty()) {
        findings_.warn(
            Guard{"alignment", unsaid.size() == 1 ? std::optional<std::size_t>(unsaid.front()) : std::nullopt,
                  format("frame%s %s: nothing new in common with the reference frame, %zu, was found",
                         unsaid.size() == 1 ? "" : "s", ranges(unsaid).c_str(), enlarged.reference),
                  "left out"});
    }
}

}  // namespace oravo::tools
