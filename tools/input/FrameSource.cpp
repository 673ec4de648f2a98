#include "tools/input/FrameSource.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string_view>

#include "tools/base/FileNames.h"
#include "tools/base/UserError.h"
#include "tools/formats/CsvMatrix.h"
#include "tools/formats/ForeignFile.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/JpegSegments.h"
#include "tools/formats/NpyFile.h"
#include "tools/formats/PgmFile.h"
#include "tools/formats/PngFile.h"
#include "tools/formats/RadiometricJpeg.h"
#include "tools/formats/TiffFile.h"
#include "tools/formats/VideoFile.h"
#include "tools/input/RadiometricFrames.h"

namespace oravo::tools {
namespace {

class TiffSource final : public FrameSource {
  public:
    explicit TiffSource(const std::string& path) : file_(path) {}
    std::size_t count() const override { return file_.pages(); }
    const char* unit() const override { return "page"; }
    cv::Mat read(std::size_t index) override { return file_.read(index); }

  private:
    TiffReader file_;
};

/// A file of frames by one of the formats' readers.
template <class File>
class FramesOfFile final : public FrameSource {
  public:
    template <class... Arguments>
    explicit FramesOfFile(const Arguments&... arguments) : file_(arguments...) {}
    std::size_t count() const override { return file_.count(); }
    const char* unit() const override { return "frame"; }
    cv::Mat read(std::size_t index) override { return file_.read(index); }

  private:
    File file_;
};

using UncompressedSource = FramesOfFile<FrameFile>;
using VideoSource = FramesOfFile<VideoFile>;

class SingleImage final : public FrameSource {
  public:
    using Reader = cv::Mat (*)(const std::string& path);
    SingleImage(const std::string& path, Reader reader) : path_(path), reader_(reader) {}
    std::size_t count() const override { return 1; }
    const char* unit() const override { return "image"; }
    cv::Mat read(std::size_t) override { return reader_(path_); }

  private:
    std::string path_;
    Reader reader_;
};

bool endsIn(const std::string& name, std::initializer_list<const char*> extensions) {
    const std::string extension = lowerExtension(name);
    return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

constexpr std::size_t kStart = 512;

}  // namespace

std::unique_ptr<FrameSource> openFrames(const std::string& path, const std::optional<RawFormat>& raw,
                                        const RadiometricAccess& radiometric) {
    if (raw) return std::make_unique<UncompressedSource>(path, rawLayout(*raw, sizeOfFile(path), path));
    if (isTiff(path)) return std::make_unique<TiffSource>(path);
    const std::string start = startOfFile(path, kStart);
    if (isNpy(start)) return std::make_unique<UncompressedSource>(path, npyLayout(path));
    if (isPgm(start)) return std::make_unique<SingleImage>(path, readPgm);
    if (isPng(start)) return std::make_unique<SingleImage>(path, readPng);
    if (isJpeg(start) && isRadiometricJpeg(path))
        return std::make_unique<RadiometricFrame>(path, radiometric);
    if (isVideo(start)) return std::make_unique<VideoSource>(path);
    if (isMatrixName(path) && !isNoMatrix(start)) return std::make_unique<SingleImage>(path, readCsv);
    throw foreignFile(path, start, isRawName(path));
}

bool isImageName(const std::string& name) {
    return endsIn(name, {".tif", ".tiff", ".png", ".pgm", ".npy"});
}

bool isMatrixName(const std::string& name) {
    return endsIn(name, {".csv", ".tsv", ".asc", ".txt"});
}

bool isRawName(const std::string& name) {
    return endsIn(name, {".raw", ".bin", ".dat"});
}

bool isJpegName(const std::string& name) {
    return endsIn(name, {".jpg", ".jpeg"});
}

}  // namespace oravo::tools
