#include "tools/report/Report.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <set>

#include "tools/measure/Metrics.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

/// NaN where all values are.
double quantileOf(const cv::Mat_<float>& image, double share) {
    std::vector<float> values;
    std::copy_if(image.begin(), image.end(), std::back_inserter(values),
                 [](float v) { return !std::isnan(v); });
    if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
    const auto place = static_cast<std::size_t>(share * static_cast<double>(values.size()));
    return static_cast<double>(vision::detail::valueAtPlace(values, place));
}

}  // namespace

cv::Point2d phaseOf(cv::Point2f shift) {
    // frame(p + d) = reference(p): pixel i of the frame sees what lies at i - d of the reference.
    const auto fraction = [](double d) {
        const double rest = -d - std::floor(-d);
        return rest < 1.0 ? rest : 0.0;
    };
    return {fraction(static_cast<double>(shift.x)), fraction(static_cast<double>(shift.y))};
}

cv::Point halfPhaseOf(cv::Point2f shift) {
    const cv::Point2d phase = phaseOf(shift);
    const auto half = [](double fraction) { return fraction >= 0.25 && fraction < 0.75 ? 1 : 0; };
    return {half(phase.x), half(phase.y)};
}

int phasesReached(const std::vector<ReportedFrame>& frames) {
    std::set<std::pair<int, int>> reached;
    for (const ReportedFrame& frame : frames) {
        const cv::Point half = halfPhaseOf(frame.shift);
        reached.emplace(half.x, half.y);
    }
    return static_cast<int>(reached.size());
}

double referenceValueAt(const Report& report, cv::Point pixel) {
    const float value = report.reference(pixel.y / 2, pixel.x / 2);
    return isValue(value) ? static_cast<double>(value) : std::numeric_limits<double>::quiet_NaN();
}

double bicubicValueAt(const Report& report, cv::Point pixel) {
    const cv::Mat_<float> enlarged = bicubic(repaired(report.reference), report.image.size());
    return static_cast<double>(enlarged(pixel));
}

double seenValueAt(const Report& report, cv::Point pixel) {
    return static_cast<double>(report.seen(pixel / 2));
}

double medianOf(const cv::Mat_<float>& image) {
    return quantileOf(image, 0.5);
}

DeviationFigures deviationOf(const Report& report) {
    DeviationFigures all;
    all.median = medianOf(report.noise);
    all.most = quantileOf(report.noise, 0.95);
    for (int y = 0; y < report.noise.rows; ++y) {
        for (int x = 0; x < report.noise.cols; ++x) {
            const auto value = static_cast<double>(report.noise(y, x));
            if (std::isnan(value) || (all.known && value <= all.worst)) continue;
            all.known = true;
            all.worst = value;
            all.at = {x, y};
        }
    }
    return all;
}

std::optional<double> patternOf(const Report& report) {
    if (!report.precise || report.precise->pattern.empty()) return std::nullopt;
    const cv::Mat_<float>& pattern = report.precise->pattern;
    return cv::norm(pattern) / std::sqrt(static_cast<double>(pattern.total()));
}

cv::Mat_<float> weightOf(const Report& report) {
    cv::Mat_<float> weight;
    if (report.precise) {
        report.precise->weight.copyTo(weight);
        weight.setTo(0.0f, valueMask(report.image) == 0);
    } else {
        report.coverage.convertTo(weight, CV_32F);
    }
    return weight;
}

}  // namespace oravo::tools
