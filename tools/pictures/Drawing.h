#ifndef ORAVO_TOOLS_PICTURES_DRAWING_H
#define ORAVO_TOOLS_PICTURES_DRAWING_H

#include <opencv2/core.hpp>
#include <string>

#include "tools/pictures/ColourScale.h"

namespace oravo::tools {

// Text and scales in pictures (B, G, R).

const cv::Scalar kPaper(255, 255, 255);
const cv::Scalar kInk(30, 30, 30);

/// How large text is drawn: 1 for capitals about 22 pixels high.
struct Lettering {
    double size = 0.45;
    cv::Scalar colour = kInk;
    bool shaded = false;  ///< on a darkened ground, for text on a picture
};

/// ASCII text and the degree sign (in UTF-8), other characters as '?'; `at` is the left end of the base line.
void drawText(cv::Mat& picture, const std::string& text, cv::Point at, const Lettering& lettering);
/// Its width, and the height of its capitals.
cv::Size textSize(const std::string& text, const Lettering& lettering);

/// A bar of the scale's colours, highest above, with round values and the unit to its right. Where values
/// exceed the scale, the bar ends in an arrow head instead of a straight edge.
void drawColourBar(cv::Mat& picture, cv::Rect bar, const ColourScale& scale, const std::string& unit,
                   const Lettering& lettering);
/// The room that the bar's text takes to its right.
int colourBarTextWidth(const ColourScale& scale, int height, const std::string& unit,
                       const Lettering& lettering);

}  // namespace oravo::tools

#endif
