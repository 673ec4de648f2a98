#ifndef ORAVO_TOOLS_FORMATS_RAWFILE_H
#define ORAVO_TOOLS_FORMATS_RAWFILE_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

#include "tools/formats/FrameFile.h"

namespace oravo::tools {

/// What a file without a header holds, as its user states it.
struct RawFormat {
    cv::Size size;
    PixelFormat pixel;
    std::uint64_t offset = 0;  ///< bytes before the first frame
};

/// Out of "WxH:TYPE" or "WxH:TYPE@BYTES", such as 640x512:u16le or 160x120:f32le@64; for the types see
/// PixelFormat. Throws UserError of the usage kind.
RawFormat parseRawFormat(const std::string& text);

/// Its type alone. Throws UserError of the usage kind that begins with the option.
PixelFormat parsePixelFormat(const std::string& type, const std::string& option);

/// The frames of a file of this size. Throws UserError, naming the file, when these are no whole number of
/// frames.
FrameLayout rawLayout(const RawFormat& raw, std::uint64_t fileSize, const std::string& name);

}  // namespace oravo::tools

#endif
