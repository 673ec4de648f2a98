#ifndef ORAVO_TOOLS_CODECIMAGE_H
#define ORAVO_TOOLS_CODECIMAGE_H

#include <opencv2/core.hpp>
#include <string>
#include <string_view>

namespace oravo::tools {

/// An image of one channel in a compressed format of the image codecs, PNG above all. The size that a PNG
/// file claims is checked against what its bytes can hold before the codec makes room for it.
/// Throws UserError with the file's name and what is wrong.
cv::Mat decodeByCodec(std::string_view bytes, const std::string& name);

cv::Mat readByCodec(const std::string& path);

}  // namespace oravo::tools

#endif
