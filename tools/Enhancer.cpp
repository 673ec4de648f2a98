#include "tools/Enhancer.h"

#include <algorithm>
#include <cmath>

#include "support/StopWatch.h"
#include "tools/Messages.h"
#include "tools/StandardOutputGuard.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

// What the library returns in place of a gain.
constexpr float kRegistrationFailed = -998.0f;
constexpr float kTooLargeMotion = -6.0f;
constexpr float kTooFewValidPixels = -3.0f;
constexpr int kFallbackValue = -2;

constexpr char kTooManyDefects[] = "Too many defect pixels";
constexpr char kTooLargeDisplacement[] = "Too large displacement";

bool startsWith(const std::string& text, const char* beginning) {
    return text.rfind(beginning, 0) == 0;
}

EnhanceParameters settled(EnhanceParameters parameters) {
    settlePipeline(parameters);
    return parameters;
}

std::unique_ptr<Pipeline> acceptedPipeline(cv::Size size, const EnhanceParameters& parameters) {
    try {
        return makePipeline(size, parameters);
    } catch (...) {
        throw UserError(ExitCode::kUsage, currentExceptionText());
    }
}

}  // namespace

Enhancer::Enhancer(cv::Size frameSize, const EnhanceParameters& parameters)
    : size_(frameSize),
      parameters_(settled(parameters)),
      pipeline_(acceptedPipeline(frameSize, parameters_)) {
}

std::optional<std::string> Enhancer::addFrame(const cv::Mat_<float>& frame) {
    const StandardOutputGuard guard(!parameters_.timing);
    const cv::Mat_<float> dense = frame.isContinuous() ? frame : frame.clone();
    const std::size_t index = added_++;
    try {
        if (pipeline_->addFrame(dense) != kFallbackValue) return std::nullopt;
        return "has a defective pixel without enough sound neighbours; a stand-in value was used";
    } catch (...) {
        const std::string text = currentExceptionText();
        refused_.insert(index);
        if (!startsWith(text, kTooManyDefects)) return text;
        return std::string("has more defective or implausible pixels than can be repaired") +
               (parameters_.rawCounts ? "" : " (raw counts need --nuc, or --encoding)");
    }
}

std::optional<Enlarged> Enhancer::run(Refusal& refusal) {
    const auto refused = refused_.lower_bound(windowStart());
    if (refused != refused_.end()) {
        refusal.reason = format("frame %zu has too many defective pixels", *refused);
        return std::nullopt;
    }
    Enlarged result;
    try {
        const StandardOutputGuard guard(!parameters_.timing);
        StopWatch watch;
        result.gain = pipeline_->computeSR(result.image);
        result.seconds = watch.stop();
        result.stages = stageTimes(guard.text());
    } catch (...) {
        const std::string text = currentExceptionText();
        refusal.reason = text;
        if (startsWith(text, kTooLargeDisplacement)) {
            refusal.reason = displacementFrom(size_.height / 2).value_or("a frame moved") +
                             ", half the frame height or more";
        }
        return std::nullopt;
    }
    if (result.gain == kRegistrationFailed) {
        refusal.reason = "some frame shows no detail that could be followed into it (registration failed)";
        return std::nullopt;
    }
    result.shifts = pipeline_->completeShifts();
    result.masks = pipeline_->masks();
    for (std::size_t i = windowStart(); i < added_; ++i) result.frames.push_back(i);
    result.reference = referenceFrame();
    if (result.gain == kTooLargeMotion) {
        result.warning = displacementFrom(size_.height / 10).value_or("a frame moved") +
                         ", more than a tenth of the frame height";
    } else if (result.gain == kTooFewValidPixels) {
        result.warning = "at least half of a frame's pixels do not agree with the reference frame";
    }
    result.gain = std::max(result.gain, 0.0f);
    return result;
}

std::optional<std::string> Enhancer::displacementFrom(int pixels) const {
    const std::vector<cv::Point2f> shifts = pipeline_->completeShifts();
    const float limit = static_cast<float>(pixels);
    for (std::size_t i = 0; i < shifts.size(); ++i) {
        if (std::abs(shifts[i].x) < limit && std::abs(shifts[i].y) < limit) continue;
        return format("frame %zu moved by (%.1f, %.1f) pixels", windowStart() + i,
                      static_cast<double>(shifts[i].x), static_cast<double>(shifts[i].y));
    }
    return std::nullopt;
}

std::size_t Enhancer::referenceFrame() const {
    return added_ - 1 - static_cast<std::size_t>(parameters_.referenceIndex.value());
}

}  // namespace oravo::tools
