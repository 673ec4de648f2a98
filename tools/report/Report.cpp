#include "tools/report/Report.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <set>

#include "tools/measure/Metrics.h"
#include "tools/values/Decode.h"

namespace oravo::tools {

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
    std::vector<float> values;
    std::copy_if(image.begin(), image.end(), std::back_inserter(values),
                 [](float v) { return !std::isnan(v); });
    if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return static_cast<double>(*middle);
}

}  // namespace oravo::tools
