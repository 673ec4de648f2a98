#include "vision/superresolution/detail/choice/Doubts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "vision/superresolution/detail/choice/SubpixelShift.h"

namespace oravo::vision::detail {
namespace {

/// Pixels. Shifts that lie within this distance of whole pixels bring 0.4 dB more than a tripod's, within twice of it 1 dB.
constexpr double kPhaseSpread = 0.1;
/// A shift counts as whole within so many of its standard errors, but within no more than the following part of a pixel:
/// half the distance between the samples of a twofold enlargement.
constexpr double kSure = 3.0;
constexpr double kMostPhaseSpread = 0.25;
/// A frame whose turn or zoom moves its corners by more pixels than this samples all fractions of a pixel.
constexpr double kCornersOff = 0.5;

bool isWhole(double remainder, double error) {
    return std::abs(remainder) < std::clamp(kSure * error, kPhaseSpread, kMostPhaseSpread);
}

bool isTurned(const SrPreciseFrame& frame, cv::Size size) {
    const auto along = [&](int i) {
        return std::abs(frame.linear[i][0]) * size.width + std::abs(frame.linear[i][1]) * size.height;
    };
    return 0.5 * std::hypot(along(0), along(1)) > kCornersOff;
}

/// Whether the frames of an image sample the same places of the scene.
bool areInPhase(const SrPreciseResult& result, const std::vector<cv::Mat_<float>>& frames,
                std::size_t reference) {
    std::vector<cv::Mat_<float>> used;
    std::vector<cv::Point2f> shifts;
    std::size_t place = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const SrPreciseFrame& frame = result.frames[i];
        if (!frame.used) continue;
        if (isTurned(frame, frames[i].size())) return false;
        if (i == reference) place = used.size();
        used.push_back(frames[i]);
        shifts.emplace_back(static_cast<float>(frame.dx), static_cast<float>(frame.dy));
    }
    return detail::samePhase(used, shifts, place);
}

std::string format(const char* pattern, double number) {
    char text[160];
    std::snprintf(text, sizeof text, pattern, number);
    return text;
}

}  // namespace

std::optional<double> decibelsOverBicubic(const SrPreciseResult& result) {
    if (!(result.withheldError > 0.0) || !(result.bicubicError > 0.0)) return std::nullopt;
    return result.gain;
}

bool samePhase(const std::vector<cv::Point2f>& shifts) {
    const auto near = [](float a, float b) {
        const float apart = a - b;
        return std::abs(apart - std::round(apart)) < static_cast<float>(kPhaseSpread);
    };
    return std::all_of(shifts.begin(), shifts.end(), [&](cv::Point2f d) {
        return near(d.x, shifts.front().x) && near(d.y, shifts.front().y);
    });
}

bool mayBeInPhase(const std::vector<cv::Point2f>& shifts) {
    constexpr float kMostAstray = 0.4f;
    const auto isNear = [](float d) { return std::abs(d - std::round(d)) < kMostAstray; };
    return std::all_of(shifts.begin(), shifts.end(),
                       [&](cv::Point2f d) { return isNear(d.x) && isNear(d.y); });
}

bool samePhase(const std::vector<cv::Mat_<float>>& frames, const std::vector<cv::Point2f>& shifts,
               std::size_t reference) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (i == reference) continue;
        const auto exact = SubpixelShift::of(frames[reference], frames[i], shifts[i]);
        if (!exact) return samePhase(shifts);
        if (!isWhole(exact->remainder.x, exact->error.x) || !isWhole(exact->remainder.y, exact->error.y))
            return false;
    }
    return true;
}

bool hardlyMoves(const SrPreciseResult& result, const std::vector<cv::Mat_<float>>& frames) {
    for (std::size_t i = 0; i < frames.size(); ++i)
        if (result.frames[i].used && isTurned(result.frames[i], frames[i].size())) return false;
    return !result.sceneMoves;
}

std::string doubtAbout(const SrPreciseResult& result, const std::vector<cv::Mat_<float>>& frames,
                       std::size_t reference) {
    if (result.usedFrames() < 2)
        return "the image rests on the reference frame alone; it is that frame without its blur, not more";
    const std::optional<double> better = decibelsOverBicubic(result);
    if (!better)
        return "no pixel could be withheld and predicted, so that nothing tells how good the image is";
    if (*better <= 0.0) {
        return format(
            "bicubic enlargement of the reference frame predicts withheld pixels better, by %.1f dB",
            -*better);
    }
    if (!result.trusted) {
        return format("the frames do not fit one image: it rests on the reference frame by %.0f %%",
                      100.0 * result.leaning);
    }
    if (areInPhase(result, frames, reference)) {
        return "the frames lie whole pixels apart (a tripod?): they hold less noise together, but no more "
               "detail than one of them";
    }
    if (hardlyMoves(result, frames)) {
        return "the frames hardly move, by less than a quarter of a pixel: a fixed pattern of the sensor "
               "would pass for detail, unless it is known and subtracted";
    }
    return "";
}

}  // namespace oravo::vision::detail
