#ifndef ORAVO_TOOLS_FORMATS_CAMERATAGS_H
#define ORAVO_TOOLS_FORMATS_CAMERATAGS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/formats/ExifTool.h"
#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

/// Names as exiftool has them, and values as text.
using CameraTags = std::vector<std::pair<std::string, std::string>>;

/// Adds to an image's XMP what a radiometric JPEG file says of camera and measurement in segments of its maker's own, which no
/// other format has room for: properties by exiftool's names, numbers without units, in a namespace "camera". What describes
/// the raw image and the picture of the file is left out. Other files are left alone. What fails is named in leftOut.
void addCameraTags(ImageMetadata& metadata, const std::string& path, ExifTool& exiftool);

/// A packet of XMP with the tags in it, a new one in place of an empty one. None where what is there has no end that is known.
std::optional<std::string> withCameraTags(const std::string& packet, const CameraTags& tags);

}  // namespace oravo::tools

#endif
