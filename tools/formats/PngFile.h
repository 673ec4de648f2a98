#ifndef ORAVO_TOOLS_FORMATS_PNGFILE_H
#define ORAVO_TOOLS_FORMATS_PNGFILE_H

#include <opencv2/core.hpp>
#include <string>
#include <string_view>

namespace oravo::tools {

/// Whether a file that starts like this is a PNG image.
bool isPng(std::string_view start);

/// A PNG image of one channel, as stored; counts of fewer than 8 bits are scaled to 8. What the header claims is
/// checked before anything is allocated: the kind of pixels, and their number against what the bytes can hold and
/// the memory there is. Throws UserError with the file's name and what is wrong.
cv::Mat decodePng(std::string_view bytes, const std::string& name);

cv::Mat readPng(const std::string& path);

}  // namespace oravo::tools

#endif
