#ifndef ORAVO_TOOLS_FORMATS_JPEGSEGMENTS_H
#define ORAVO_TOOLS_FORMATS_JPEGSEGMENTS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace oravo::tools {

/// What applications have put before the picture of a JPEG file.
struct JpegSegment {
    std::string start;  ///< its first bytes
    std::size_t size;
};

/// Whether a file that starts like this is a JPEG image.
bool isJpeg(std::string_view start);

/// The application segments of a JPEG file as far as it is whole, none of other files. Throws UserError where it cannot be
/// opened.
/// @param mostOfEach  bytes to read, or a few more; no segment has 65536
std::vector<JpegSegment> applicationSegments(const std::string& path, std::size_t mostOfEach = 32);

}  // namespace oravo::tools

#endif
