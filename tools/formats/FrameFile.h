#ifndef ORAVO_TOOLS_FORMATS_FRAMEFILE_H
#define ORAVO_TOOLS_FORMATS_FRAMEFILE_H

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <opencv2/core.hpp>
#include <string>

#include "tools/formats/PixelFormat.h"

namespace oravo::tools {

/// Where the frames of an uncompressed file lie: one after the other from `offset` to the end of the file.
struct FrameLayout {
    PixelFormat format;
    cv::Size size;
    std::uint64_t offset = 0;
    std::uint64_t frames = 1;
    bool columnOrder = false;  ///< column by column instead of row by row

    std::uint64_t frameBytes() const {
        return static_cast<std::uint64_t>(size.width) * static_cast<std::uint64_t>(size.height) *
               static_cast<std::uint64_t>(format.bytes);
    }
    /// One frame out of its bytes.
    cv::Mat frame(const char* bytes) const;
};

/// The size of a file. Throws UserError when it cannot be found out.
std::uint64_t sizeOfFile(const std::string& path);

/// The first bytes of a file, fewer when it is shorter. Throws UserError when it cannot be read.
std::string startOfFile(const std::string& path, std::size_t most);

/// A whole file. Throws UserError when it cannot be read or is larger than any image of text or of compressed
/// pixels has reason to be.
std::string contentOfFile(const std::string& path);

/// An uncompressed file, read frame by frame.
class FrameFile {
  public:
    FrameFile(const std::string& path, const FrameLayout& layout);
    std::size_t count() const { return static_cast<std::size_t>(layout_.frames); }
    /// Throws UserError when the file has become shorter, or there is no memory for a frame.
    cv::Mat read(std::size_t index);

  private:
    std::string path_;
    FrameLayout layout_;
    std::ifstream file_;
};

}  // namespace oravo::tools

#endif
