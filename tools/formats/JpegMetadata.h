#ifndef ORAVO_TOOLS_FORMATS_JPEGMETADATA_H
#define ORAVO_TOOLS_FORMATS_JPEGMETADATA_H

#include <string_view>

#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

/// What a JPEG file says in its segments of EXIF, XMP and image resources (where IPTC lies), as far as the first of each;
/// see readMetadata().
/// @param file  from its start on, at least up to its pixels
ImageMetadata jpegMetadata(std::string_view file);

}  // namespace oravo::tools

#endif
