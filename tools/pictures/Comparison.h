#ifndef ORAVO_TOOLS_PICTURES_COMPARISON_H
#define ORAVO_TOOLS_PICTURES_COMPARISON_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace oravo::tools {

struct Panel {
    cv::Mat_<float> image;  ///< all panels have one size
    std::string title;
    std::string caption;  ///< a second line, such as figures of quality
};

/// The place of the given size with the most structure.
cv::Rect richestPlace(const cv::Mat_<float>& image, cv::Size size);

/// A picture (B, G, R) of panels side by side on one colour scale, with a magnified detail of each below and
/// a colour bar with values at the right. The scale spans the last panel's values but for the
/// hottest and coldest hundredth, which take the colours of the ends, the detail is where that panel has most
/// structure. Pixels without a value are grey.
cv::Mat drawComparison(const std::vector<Panel>& panels);

}  // namespace oravo::tools

#endif
