#ifndef ORAVO_TOOLS_PICTURES_COLOURSCALE_H
#define ORAVO_TOOLS_PICTURES_COLOURSCALE_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace oravo::tools {

/// 256 colours (B, G, R), lowest value first.
using Palette = cv::Mat_<cv::Vec3b>;

std::vector<std::string> paletteNames();
/// Of one of these names: iron (black, blue, purple, orange, yellow, white), grey, grey-inverted, inferno,
/// rainbow.
Palette paletteNamed(const std::string& name);

constexpr char kDefaultPalette[] = "iron";

/// Which colour stands for which value.
struct ColourScale {
    double lowest = 0.0;
    double highest = 1.0;
    Palette palette;
    bool clipsBelow = false;  ///< values below the lowest are shown, in its colour
    bool clipsAbove = false;

    /// All values of the image, from the given percentile up to its counterpart: 0 shows every value as it is.
    static ColourScale of(const cv::Mat_<float>& image, const Palette& palette, double percentile = 0.0);
    /// All values but for a few outliers, one pixel in 2000 at each end, where these alone would take up more than a third of
    /// the colours.
    static ColourScale withoutOutliers(const cv::Mat_<float>& image, const Palette& palette);
    /// A given range, for an image that may exceed it.
    static ColourScale within(double lowest, double highest, const cv::Mat_<float>& image,
                              const Palette& palette);

    cv::Mat_<cv::Vec3b> colours(const cv::Mat_<float>& image) const;
    /// Of pixels without a value: grey, or blue in a palette of greys.
    cv::Vec3b noValue() const;
};

}  // namespace oravo::tools

#endif
