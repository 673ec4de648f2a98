#ifndef ORAVO_TOOLS_PICTURES_PREVIEW_H
#define ORAVO_TOOLS_PICTURES_PREVIEW_H

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <utility>

#include "tools/pictures/ColourScale.h"

namespace oravo::tools {

/// The hottest and the coldest pixel; the first in row order where several are. The outermost two pixels of all but
/// tiny images are left out: fewer samples are valid there, and their values overshoot.
struct Spots {
    struct Spot {
        cv::Point at;
        float value;
    };
    Spot hottest;
    Spot coldest;

    /// Nothing where no pixel holds a value.
    static std::optional<Spots> of(const cv::Mat_<float>& image);
};

/// A value in the unit of the picture, with the decimals that its range calls for.
std::string valueText(float value, const ColourScale& scale, const std::string& unit);

/// A picture of values (B, G, R) at a size fit to look at: the image, small ones enlarged by a whole factor,
/// beside it a bar of its colours with round values and the unit, below it a line of text and, where pixels hold no
/// value, their colour and number.
struct Preview {
    ColourScale scale;
    std::string unit;
    std::string caption;
    bool showsSpots = true;  ///< marks the hottest and the coldest pixel and says their values and places

    cv::Mat draw(const cv::Mat_<float>& image) const;
};

/// A picture of how many of the frames are valid at each pixel, with its legend.
cv::Mat drawCoverage(const cv::Mat_<uchar>& coverage, int frames);
/// The colour (B, G, R) that stands for `count` of `frames` frames: from red (none) over yellow to blue (all).
cv::Vec3b coverageColour(int count, int frames);
cv::Mat_<cv::Vec3b> coverageColours(const cv::Mat_<uchar>& coverage, int frames);
/// The same colours and those between them, for a scale from no frame to all.
Palette coveragePalette();

}  // namespace oravo::tools

#endif
