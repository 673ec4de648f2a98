#ifndef ORAVO_TOOLS_REPORT_REPORTTEXT_H
#define ORAVO_TOOLS_REPORT_REPORTTEXT_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace oravo::tools {

// Text for a page. Functions that return markup say so; the others return plain text, which markupText() makes fit for it.

/// "7 frames", "1 frame".
std::string counted(std::size_t count, const char* what);

/// Two significant digits, or as many as asked for, and the unit; "unknown" for what is no number.
std::string figure(double value, const std::string& unit, int digits = 2);

/// A share in percent; "unknown" for what is no number.
std::string percent(double share);

/// Bytes as text of 64 characters.
std::string base64(const std::vector<uchar>& bytes);

/// A picture (B, G, R) as the address of an image that lies within the page.
std::string pngAddress(const cv::Mat& picture);

}  // namespace oravo::tools

#endif
