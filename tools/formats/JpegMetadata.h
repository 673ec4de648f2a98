#ifndef ORAVO_TOOLS_FORMATS_JPEGMETADATA_H
#define ORAVO_TOOLS_FORMATS_JPEGMETADATA_H

#include <string>

#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

/// What a JPEG file says in its segments of EXIF, XMP and image resources (where IPTC lies), as far as the first of each;
/// see readMetadata(). Throws UserError where it cannot be opened.
ImageMetadata jpegMetadata(const std::string& path);

}  // namespace oravo::tools

#endif
