#include "tools/input/FrameSource.h"

#include <algorithm>
#include <initializer_list>
#include <iterator>
#include <string_view>

#include "tools/base/FileNames.h"
#include "tools/base/UserError.h"
#include "tools/formats/CsvMatrix.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/NpyFile.h"
#include "tools/formats/PgmFile.h"
#include "tools/formats/PngFile.h"
#include "tools/formats/TiffFile.h"

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

class UncompressedSource final : public FrameSource {
  public:
    UncompressedSource(const std::string& path, const FrameLayout& layout) : file_(path, layout) {}
    std::size_t count() const override { return file_.count(); }
    const char* unit() const override { return "frame"; }
    cv::Mat read(std::size_t index) override { return file_.read(index); }

  private:
    FrameFile file_;
};

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

struct Signature {
    std::size_t at;
    std::string_view bytes;
    const char* what;
};

// Formats that people try, none of which holds values as they were measured, or holds them in a way that is read.
constexpr Signature kUnread[] = {{0, "\xff\xd8\xff", "a JPEG image"},
                                 {4, "jP  ", "a JPEG 2000 image"},
                                 {0, "GIF8", "a GIF image"},
                                 {0, "BM", "a BMP image"},
                                 {0, "\x76\x2f\x31\x01", "an OpenEXR image"},
                                 {128, "DICM", "a DICOM image"},
                                 {0, "NITF", "a NITF image"},
                                 {0, "SIMPLE  =", "a FITS image"},
                                 {0, "RIFF", "a video or image (AVI or WebP)"},
                                 {4, "ftyp", "a video or image (MP4, QuickTime or HEIF)"},
                                 {0, "\x1a\x45\xdf\xa3", "a video (Matroska or WebM)"},
                                 {0, "\x89HDF", "an HDF5 file"},
                                 {0, "MATLAB ", "a MATLAB file"},
                                 {0, "PK\3\4", "a ZIP archive"}};
constexpr std::size_t kLongestStart = 132;

/// What is wrong with a file that none of the readers knows.
UserError unread(const std::string& path, std::string_view start) {
    if (start.empty()) return inputError(path + ": is empty");
    if (lowerExtension(path) == ".npz") {
        return inputError(path +
                          ": is an archive of arrays (.npz); save the one that holds the frames with "
                          "numpy.save, as .npy");
    }
    const auto* const known = std::find_if(std::begin(kUnread), std::end(kUnread), [&](const Signature& s) {
        return start.size() >= s.at && start.substr(s.at, s.bytes.size()) == s.bytes;
    });
    if (known != std::end(kUnread)) {
        return inputError(path + ": is " + known->what +
                          ", a format that is not read; export the frames as TIFF, PNG, PGM, NumPy arrays or "
                          "text");
    }
    if (isRawName(path))
        return inputError(path + ": has no header that is known; --raw tells the format of a dump");
    return inputError(path +
                      ": is of no format that is read: TIFF, PNG, PGM, NumPy arrays, text named .csv, .tsv, "
                      ".asc or .txt, or a raw dump (see --raw)");
}

}  // namespace

std::unique_ptr<FrameSource> openFrames(const std::string& path, const std::optional<RawFormat>& raw) {
    if (raw) return std::make_unique<UncompressedSource>(path, rawLayout(*raw, sizeOfFile(path), path));
    if (isTiff(path)) return std::make_unique<TiffSource>(path);
    const std::string start = startOfFile(path, kLongestStart);
    if (isNpy(start)) return std::make_unique<UncompressedSource>(path, npyLayout(path));
    if (isPgm(start)) return std::make_unique<SingleImage>(path, readPgm);
    if (isPng(start)) return std::make_unique<SingleImage>(path, readPng);
    if (isMatrixName(path)) return std::make_unique<SingleImage>(path, readCsv);
    throw unread(path, start);
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

}  // namespace oravo::tools
