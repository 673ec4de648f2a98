#include "tools/enhance/StreamGuard.h"

#include <algorithm>
#include <cmath>

#include "tools/base/Messages.h"
#include "tools/measure/FrameMeasures.h"
#include "tools/measure/Metrics.h"

namespace oravo::tools {
namespace {

// Thresholds were set on recorded and simulated bursts; each states what was measured.

/// Of the contrast. Frames that move by a few pixels: up to 0.011. From 0.05 on the image suffers.
constexpr double kLevelJump = 0.04;
/// Of the noise. Such a step costs 0.1 to 1 dB, the more the noisier frames are; fewer frames cost as much. It is three standard
/// errors of a step even in frames of 12 x 12 pixels, so that noise alone makes no jump.
constexpr double kHarmlessStep = 0.5;
/// Between successive frames of one scene the contrast changes by some percent.
constexpr double kContrastJump = 2.0;
/// Decibels. Sharp and blurred frames: above -13; pictures enlarged by interpolation: below -19.
constexpr double kNoFineDetail = -17.0;
/// Noise per contrast. Up to here the default weight is within 2 dB of the best; from 0.14 on it can come out
/// worse than bicubic enlargement. Recorded bursts: up to 0.096.
constexpr double kNoisy = 0.11;

}  // namespace

StreamGuard::Finding StreamGuard::look(const cv::Mat_<float>& frame) {
    const Seen seen{frame.clone(), contrastOf(frame), noiseOf(frame)};
    if (!current_.last.frame.empty() && sameValues(frame, current_.last.frame)) {
        return {Verdict::repeated, "repeats the frame before it"};
    }
    const std::string jump = jumpBetween(current_.last, seen);
    Finding finding;
    if (!jump.empty()) {
        const bool shortly = interrupted_ && current_.length < kInterruption;
        if (shortly && jumpBetween(interrupted_->last, seen).empty()) {
            finding = {Verdict::resume, "is like those before the jump"};
            current_ = *interrupted_;
            interrupted_.reset();
        } else {
            finding = {Verdict::restart, jump};
            if (!shortly) interrupted_ = current_;
            current_ = {begun_++, 0, {}};
        }
    }
    ++current_.length;
    current_.last = seen;
    return finding;
}

std::optional<std::size_t> StreamGuard::interrupted() const {
    if (!interrupted_) return std::nullopt;
    return interrupted_->number;
}

/// What sets a frame apart from the one before it; empty where nothing does.
std::string StreamGuard::jumpBetween(const Seen& before, const Seen& after) const {
    if (before.frame.empty()) return {};
    const double larger = std::max(before.contrast, after.contrast);
    if (larger > kContrastJump * std::min(before.contrast, after.contrast)) {
        return format("has a contrast of %.3g after %.3g", after.contrast, before.contrast);
    }
    if (!levelsCount_) return {};
    const double harmless =
        std::max(kLevelJump * larger, kHarmlessStep * std::min(before.noise, after.noise));
    const double step = levelStep(before.frame, after.frame, 0.5 * harmless);
    if (std::abs(step) <= harmless) return {};
    return format("lies %.3g %s the frame before it", std::abs(step), step > 0.0 ? "above" : "below");
}

std::string enlargedBefore(const cv::Mat_<float>& frame) {
    constexpr int kSmallest = 32;  // pixels; below, too few frequencies to judge by
    if (std::min(frame.rows, frame.cols) < kSmallest || contrastOf(frame) == 0.0) return {};
    if (hasDoubledPixels(frame))
        return "consist of equal blocks of 2 x 2 pixels; enlarged by repetition before?";
    const double detail = fineDetail(frame);
    // A soft camera in front of a sensor leaves detail to regain; its noise shows that the pixels are the sensor's own.
    if (detail > kNoFineDetail || hasNoiseFloor(frame)) return {};
    return format(
        "hold neither detail nor noise finer than two pixels (%.0f dB); enlarged before, or smoothed?",
        detail);
}

float weightForNoise(double share, float weight) {
    // A fit to the best weights of rendered and recorded scenes with added noise, within a factor of 1.6.
    if (share < kNoisy) return weight;
    return std::clamp(static_cast<float>(2.9 * std::pow(share, -1.5)), 1.0f, weight);
}

}  // namespace oravo::tools
