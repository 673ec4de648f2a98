#ifndef ORAVO_TOOLS_REPORT_VALUEGRID_H
#define ORAVO_TOOLS_REPORT_VALUEGRID_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

namespace oravo::tools {

/// The values of an image, rounded to 16-bit codes for a page to show:
///   value = offset + step code,  off by half a step at most.
/// The step is 1, 2 or 5 times a power of ten, so that rounded values are round numbers.
struct ValueGrid {
    static constexpr std::uint16_t kNoValue = 65535;

    /// @param most    values that are kept; of larger images every second pixel, or third and so on, in x and y
    /// @param finest  the step is no smaller; 0 for the smallest that spans all values
    ValueGrid(const cv::Mat_<float>& image, int most, double finest);

    double offset = 0.0;
    double step = 1.0;
    int decimals = 0;  ///< that show a value as it was rounded
    int stride = 1;    ///< pixels from one value to the next
    cv::Mat_<std::uint16_t> codes;

    /// Low byte first, row by row.
    std::vector<uchar> bytes() const;
};

/// A step that takes away nothing of values known to such a standard deviation: between a tenth and a hundredth of it, a power
/// of ten; 0 for what is no number.
double harmlessStep(double deviation);

}  // namespace oravo::tools

#endif
