#include "vision/superresolution/detail/choice/Doubts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace oravo::vision::detail {
namespace {

/// Pixels, about the error of the shifts.
constexpr float kPhaseSpread = 0.1f;

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
        return std::abs(apart - std::round(apart)) < kPhaseSpread;
    };
    return std::all_of(shifts.begin(), shifts.end(), [&](cv::Point2f d) {
        return near(d.x, shifts.front().x) && near(d.y, shifts.front().y);
    });
}

std::string doubtAbout(const SrPreciseResult& result) {
    std::vector<cv::Point2f> shifts;
    for (const SrPreciseFrame& frame : result.frames) {
        if (frame.used) shifts.emplace_back(static_cast<float>(frame.dx), static_cast<float>(frame.dy));
    }
    if (shifts.size() < 2)
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
    if (samePhase(shifts)) {
        return "the frames lie whole pixels apart (a tripod?): they hold less noise together, but no more "
               "detail than one of them";
    }
    return "";
}

}  // namespace oravo::vision::detail
