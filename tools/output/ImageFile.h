#ifndef ORAVO_TOOLS_OUTPUT_IMAGEFILE_H
#define ORAVO_TOOLS_OUTPUT_IMAGEFILE_H

#include <cstdint>
#include <fstream>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/formats/TiffWriter.h"
#include "tools/output/PendingFile.h"
#include "tools/values/CountScale.h"

namespace oravo::tools {

/// The name that stands for standard output.
constexpr char kStandardOutput[] = "-";

/// A file of images of one size. Failures are UserErrors of the output kind that name it.
class ImageFile {
  public:
    ImageFile() = default;
    ImageFile(const ImageFile&) = delete;
    ImageFile& operator=(const ImageFile&) = delete;
    virtual ~ImageFile() = default;

    /// @param metadata  go with it, where the format has room for them: TIFF and PNG
    virtual void add(const cv::Mat& image, const ImageMetadata& metadata) = 0;
    void add(const cv::Mat& image) { add(image, {}); }
    /// Writes what is still held back.
    virtual void close() {}
    /// Then puts out what is for standard output.
    virtual void send() {}
};

/// A TIFF file written page by page. What is meant for standard output is put together in a temporary file, since
/// the format cannot be written in one go; that file has no name, so that no end of the process leaves it behind.
class TiffPages : public ImageFile {
  public:
    /// @param files          gets the file, unless it is for standard output
    /// @param expectedBytes  of all pages together, at most
    TiffPages(PendingFiles& files, const std::string& path, std::uint64_t expectedBytes);
    using ImageFile::add;
    void add(const cv::Mat& image, const ImageMetadata& metadata) override;
    void close() override;
    void send() override;

  private:
    PendingFiles temporary_;
    TiffWriter writer_;
    std::ifstream content_;  // of the temporary file
};

/// What a 16-bit PNG file became.
struct StoredCounts {
    CountScale scale;
    std::size_t clipped = 0;  ///< values beyond the counts' range
};

struct PngOptions {
    CountScaleChoice scale;
    std::string unit;
};

/// Extensions of files of values, in lower case and with the dot.
const std::vector<std::string>& imageExtensions();

struct ImageFileOptions {
    bool several = false;             ///< takes more than one image, where the format does
    std::uint64_t expectedBytes = 0;  ///< of all images together, at most
    PngOptions png;
};

/// In the format that the name's extension states: TIFF, a NumPy array (of floats, images x rows x columns where there may be
/// several), text, or PNG with 16-bit counts for the values.
/// @param files   gets the file, unless it is for standard output, which gets TIFF
/// @param stored  receives how a PNG file holds its values; has to outlive the object
std::unique_ptr<ImageFile> makeImageFile(PendingFiles& files, const std::string& path,
                                         const ImageFileOptions& options,
                                         std::optional<StoredCounts>& stored);

}  // namespace oravo::tools

#endif
