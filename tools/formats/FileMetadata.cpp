#include "tools/formats/FileMetadata.h"

#include <algorithm>
#include <fstream>

#include "tools/base/UserError.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/JpegMetadata.h"
#include "tools/formats/JpegSegments.h"
#include "tools/formats/PngFile.h"
#include "tools/formats/PngMetadata.h"
#include "tools/formats/TiffFile.h"

namespace oravo::tools {
namespace {

class FileBytes final : public ByteSource {
  public:
    explicit FileBytes(const std::string& path) : file_(path, std::ios::binary) {
        file_.seekg(0, std::ios::end);
        size_ = file_ ? static_cast<std::uint64_t>(file_.tellg()) : 0;
    }
    std::string read(std::uint64_t at, std::uint64_t count) const override {
        if (at >= size_) return {};
        std::string bytes(std::min(count, size_ - at), '\0');
        file_.clear();
        file_.seekg(static_cast<std::streamoff>(at));
        file_.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        bytes.resize(static_cast<std::size_t>(file_.gcount()));
        return bytes;
    }

  private:
    mutable std::ifstream file_;
    std::uint64_t size_ = 0;
};

}  // namespace

FileMetadata::FileMetadata(const std::string& path) {
    constexpr std::size_t kStart = 8;
    try {
        if (isTiff(path)) {
            bytes_ = std::make_shared<FileBytes>(path);
            const TiffReader tiff(path);
            for (std::size_t i = 0; i < tiff.pages(); ++i) directories_.push_back(tiff.directory(i));
            return;
        }
        const std::string start = startOfFile(path, kStart);
        if (isPng(start)) only_ = pngMetadata(contentOfFile(path));
        if (isJpeg(start)) only_ = jpegMetadata(path);
    } catch (const UserError& error) {
        only_.leftOut = {error.what()};
    }
}

ImageMetadata FileMetadata::of(std::size_t image) const {
    if (!bytes_) return only_;
    if (image < directories_.size()) return readMetadata(*bytes_, directories_[image]);
    ImageMetadata none;
    none.leftOut = {"the directory of tags"};
    return none;
}

}  // namespace oravo::tools
