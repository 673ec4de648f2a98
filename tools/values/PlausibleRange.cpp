#include "tools/values/PlausibleRange.h"

#include <algorithm>
#include <limits>

#include "tools/base/Messages.h"

namespace oravo::tools {

float PlausibleRange::distance(float value) const {
    return std::max({0.0f, value - highest, lowest - value});
}

cv::Mat_<float> PlausibleRange::within(const cv::Mat_<float>& values) const {
    cv::Mat_<float> result(values.size());
    std::transform(values.begin(), values.end(), result.begin(), [this](float value) {
        return distance(value) == 0.0f ? value : std::numeric_limits<float>::quiet_NaN();
    });
    return result;
}

std::size_t OutOfRange::add(const cv::Mat_<float>& values, std::size_t number, const std::string& file) {
    std::size_t outside = 0;
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            const float value = values(y, x);
            const float distance = range.distance(value);
            if (distance == 0.0f) continue;
            if (pixels + outside == 0 || distance > range.distance(extreme)) {
                extreme = value;
                at = {x, y};
                frame = number;
                name = file;
            }
            ++outside;
        }
    }
    pixels += outside;
    frames += outside > 0 ? 1 : 0;
    return outside;
}

ValueFrame OutOfRange::take(const cv::Mat_<float>& values, std::size_t number, const std::string& file) {
    ValueFrame taken{values, values, add(values, number, file)};
    if (taken.outside > 0 && !taken.allOutside()) taken.plausible = range.within(values);
    return taken;
}

std::string OutOfRange::rangeText() const {
    return format("the plausible range %g .. %g", static_cast<double>(range.lowest),
                  static_cast<double>(range.highest));
}

std::string OutOfRange::extremeText() const {
    return format("%.7g at (%d, %d)", static_cast<double>(extreme), at.x, at.y);
}

}  // namespace oravo::tools
