#include "tools/enhance/Enhancer.h"

#include <algorithm>
#include <cmath>

#include "support/Exception.h"
#include "support/StopWatch.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "vision/superresolution/detail/Status.h"

namespace oravo::tools {
namespace {

namespace status = vision::status;

EnhanceParameters settled(EnhanceParameters parameters) {
    settlePipeline(parameters);
    return parameters;
}

std::unique_ptr<Pipeline> acceptedPipeline(cv::Size size, const EnhanceParameters& parameters) {
    try {
        return makePipeline(size, parameters);
    } catch (...) {
        if (currentExceptionIsLackOfMemory()) throw;
        throw UserError(ExitCode::kUsage, currentExceptionText());
    }
}

}  // namespace

Enhancer::Enhancer(cv::Size frameSize, const EnhanceParameters& parameters)
    : size_(frameSize),
      parameters_(settled(parameters)),
      pipeline_(acceptedPipeline(frameSize, parameters_)) {
}

void Enhancer::restart(int referenceIndex, float tvWeight) {
    parameters_.referenceIndex = referenceIndex;
    parameters_.tvWeight = tvWeight;
    pipeline_ = acceptedPipeline(size_, parameters_);
    window_.clear();
}

Enhancer::Intake Enhancer::addFrame(std::size_t number, const cv::Mat_<float>& frame) {
    const cv::Mat_<float> dense = frame.isContinuous() ? frame : frame.clone();
    if (window_.size() == static_cast<std::size_t>(kWindowSize)) window_.pop_front();
    window_.push_back({number, dense, false});
    try {
        if (pipeline_->addFrame(dense) != status::fallbackPixel) return {};
        return {"has a defective pixel without enough sound neighbours; a stand-in value was used", false};
    } catch (...) {
        window_.back().refused = true;
        if (!currentExceptionIs(Exception::Kind::tooManyDefects)) return {currentExceptionText(), true};
        return {"has more defective pixels than can be repaired", true};
    }
}

std::vector<std::size_t> Enhancer::window() const {
    std::vector<std::size_t> numbers;
    for (const Taken& frame : window_) numbers.push_back(frame.number);
    return numbers;
}

std::optional<Enlarged> Enhancer::run(Refusal& refusal) {
    Enlarged result;
    if (holdsRefusedFrame(refusal) || !enlarge(result, refusal)) return std::nullopt;
    describeWindow(result);
    result.warning = warningOf(result.gain);
    result.gain = std::max(result.gain, 0.0f);
    return result;
}

bool Enhancer::holdsRefusedFrame(Refusal& refusal) const {
    const auto refused =
        std::find_if(window_.begin(), window_.end(), [](const Taken& frame) { return frame.refused; });
    if (refused == window_.end()) return false;
    refusal.position = static_cast<std::size_t>(refused - window_.begin());
    refusal.reason = format("frame %zu has too many defective pixels", refused->number);
    return true;
}

bool Enhancer::enlarge(Enlarged& result, Refusal& refusal) {
    try {
        StopWatch watch;
        result.gain = pipeline_->computeSR(result.image);
        result.seconds = watch.stop();
        result.stages = pipeline_->stageTimes();
    } catch (...) {
        refusal.reason = currentExceptionText();
        if (currentExceptionIs(Exception::Kind::tooLargeDisplacement)) {
            refusal.position = displacedFrom(size_.height / 2);
            refusal.reason = displacement(refusal.position) + ", half the frame height or more";
        }
        return false;
    }
    if (status::isStatus(result.gain, status::registrationFailed)) {
        refusal.reason = "some frame shows no detail that could be followed into it (registration failed)";
        return false;
    }
    result.withoutValue = markWithoutValue(result.image);
    return true;
}

void Enhancer::describeWindow(Enlarged& result) const {
    result.shifts = pipeline_->completeShifts();
    result.frames = window();
    for (const Taken& frame : window_) result.inputs.push_back(frame.values);
    result.newest = window_.back().number;
    const std::size_t index = static_cast<std::size_t>(parameters_.referenceIndex.value());
    result.reference = window_[window_.size() - 1 - std::min(index, window_.size() - 1)].number;
    result.masks = pipeline_->masks();
    result.parameters = parameters_;
}

std::string Enhancer::warningOf(float gain) const {
    if (status::isStatus(gain, status::tooLargeDisplacement)) {
        return displacement(displacedFrom(size_.height / 10)) + ", more than a tenth of the frame height";
    }
    if (status::isStatus(gain, status::tooFewValidPixels)) {
        return "at least half of a frame's pixels do not agree with the reference frame";
    }
    return {};
}

std::optional<std::size_t> Enhancer::displacedFrom(int pixels) const {
    const std::vector<cv::Point2f> shifts = pipeline_->completeShifts();
    const float limit = static_cast<float>(pixels);
    const auto displaced = std::find_if(shifts.begin(), shifts.end(), [limit](cv::Point2f d) {
        return std::abs(d.x) >= limit || std::abs(d.y) >= limit;
    });
    if (displaced == shifts.end()) return std::nullopt;
    return static_cast<std::size_t>(displaced - shifts.begin());
}

std::string Enhancer::displacement(std::optional<std::size_t> position) const {
    if (!position) return "a frame moved";
    const cv::Point2f d = pipeline_->completeShifts()[*position];
    return format("frame %zu moved by (%.1f, %.1f) pixels", window_[*position].number,
                  static_cast<double>(d.x), static_cast<double>(d.y));
}

}  // namespace oravo::tools
