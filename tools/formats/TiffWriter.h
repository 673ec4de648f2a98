#ifndef ORAVO_TOOLS_FORMATS_TIFFWRITER_H
#define ORAVO_TOOLS_FORMATS_TIFFWRITER_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <string_view>

#include "tools/formats/TagLayout.h"

namespace oravo::tools {

/// A TIFF file that grows page by page, uncompressed; BigTIFF when it may grow beyond 4 GB. It has the byte order of the first
/// page's maker notes, should there be any, in the machine's otherwise.
/// Failures are UserErrors of the output kind that name `target`, which the file is to become.
///
/// (libtiff could write the pixels, but the fractions of the directory that goes with them as floats; see ImageMetadata.h.)
class TiffWriter {
  public:
    TiffWriter(const std::string& path, const std::string& target, std::uint64_t expectedBytes);

    /// One channel of 8-bit or 16-bit integers, float or double.
    void add(const cv::Mat& image, const ImageMetadata& metadata = {});
    /// Writes out what is still held back. Without it the file is worth nothing.
    void close();

  private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void begin(const ImageMetadata& metadata);
    void writePixels(const cv::Mat& image);
    void write(std::string_view bytes);
    void writeAt(std::uint64_t place, std::string_view bytes);
    void require(bool success) const;

    std::string target_;
    std::unique_ptr<std::FILE, Closer> file_;
    TagLayout layout_;
    std::uint64_t size_ = 0;  // of the file, so far
    std::uint64_t link_ = 0;  // where the place of the next page is to stand; 0 before the first
};

}  // namespace oravo::tools

#endif
