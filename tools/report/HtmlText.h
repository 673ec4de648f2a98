#ifndef ORAVO_TOOLS_REPORT_HTMLTEXT_H
#define ORAVO_TOOLS_REPORT_HTMLTEXT_H

#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// Text for a page: what would be taken for markup is written as what it stands for, other control characters
/// and bytes that are no UTF-8 as '?'.
std::string htmlText(const std::string& text);

/// A picture (B, G, R) as the address of an image that lies within the page.
std::string pngAddress(const cv::Mat& picture);

}  // namespace oravo::tools

#endif
