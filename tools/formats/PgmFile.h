#ifndef ORAVO_TOOLS_FORMATS_PGMFILE_H
#define ORAVO_TOOLS_FORMATS_PGMFILE_H

#include <opencv2/core.hpp>
#include <string>
#include <string_view>

namespace oravo::tools {

/// Whether a file that starts like this is a portable grey map, binary (P5) or plain (P2).
bool isPgm(std::string_view start);

/// A portable grey map: 8 bits up to a largest value of 255, else 16, as stored. What follows the first image
/// is refused, as is a file that ends too early. Throws UserError with the file's name and what is wrong.
cv::Mat decodePgm(std::string_view bytes, const std::string& name);

cv::Mat readPgm(const std::string& path);

}  // namespace oravo::tools

#endif
