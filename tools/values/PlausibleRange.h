#ifndef ORAVO_TOOLS_VALUES_PLAUSIBLERANGE_H
#define ORAVO_TOOLS_VALUES_PLAUSIBLERANGE_H

#include <cstddef>
#include <opencv2/core.hpp>
#include <string>

#include "vision/superresolution/Defaults.h"

namespace oravo::tools {

/// The values that the library takes for real: temperatures, or signed 16-bit counts. It treats others as defects.
struct PlausibleRange {
    float lowest;
    float highest;

    static PlausibleRange of(bool rawCounts) {
        if (rawCounts) return {-32768.0f, 32767.0f};
        return {vision::defaults::kLowestValue, vision::defaults::kHighestValue};
    }
    /// How far outside a value lies; 0 for one inside, a status code, or NaN.
    float distance(float value) const;
    /// The values with NaN in place of those outside.
    cv::Mat_<float> within(const cv::Mat_<float>& values) const;
};

/// A frame in the unit of the output.
struct ValueFrame {
    cv::Mat_<float> values;
    /// The same where all of them are plausible, or none; else NaN for those that are not.
    cv::Mat_<float> plausible;
    std::size_t outside = 0;  ///< how many are not

    bool allOutside() const { return outside == values.total(); }
};

/// The pixels of a recording whose values lie outside the range.
struct OutOfRange {
    explicit OutOfRange(PlausibleRange plausible) : range(plausible) {}

    PlausibleRange range;
    std::size_t pixels = 0;
    std::size_t frames = 0;  ///< that hold them
    // The value farthest outside, the first where several are.
    float extreme = 0.0f;
    cv::Point at;
    std::size_t frame = 0;  ///< its number
    std::string name;       ///< and the file

    /// Adds a frame to the counts. Returns how many of its pixels lie outside.
    std::size_t add(const cv::Mat_<float>& values, std::size_t number, const std::string& file);
    /// The same, with the frame itself.
    ValueFrame take(const cv::Mat_<float>& values, std::size_t number, const std::string& file);
    std::string rangeText() const;
    std::string extremeText() const;
};

}  // namespace oravo::tools

#endif
