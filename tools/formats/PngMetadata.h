#ifndef ORAVO_TOOLS_FORMATS_PNGMETADATA_H
#define ORAVO_TOOLS_FORMATS_PNGMETADATA_H

#include <string_view>
#include <vector>

#include "tools/formats/ImageMetadata.h"
#include "tools/formats/PngChunks.h"

namespace oravo::tools {

/// What a PNG file says in its chunks of EXIF, XMP and text, but for the texts that state what its counts stand for.
ImageMetadata pngMetadata(std::string_view file);

/// The chunks for it.
std::vector<PngChunk> metadataChunks(const ImageMetadata& metadata);

}  // namespace oravo::tools

#endif
