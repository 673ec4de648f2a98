#ifndef ORAVO_TOOLS_FORMATS_PNGMETADATA_H
#define ORAVO_TOOLS_FORMATS_PNGMETADATA_H

#include <string_view>
#include <utility>
#include <vector>

#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

/// What a PNG file says in its chunks of EXIF, XMP and text, but for the texts that state what its counts stand for.
ImageMetadata pngMetadata(std::string_view file);

/// Its texts, of keyword and content, for a PNG file; XMP is one of them.
std::vector<std::pair<std::string, std::string>> pngTexts(const ImageMetadata& metadata);
/// What else it says, as an EXIF block; empty where that is nothing.
std::string pngExif(const ImageMetadata& metadata);

}  // namespace oravo::tools

#endif
