#include "tools/output/ImageFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "tools/base/FileNames.h"
#include "tools/base/UserError.h"
#include "tools/formats/CsvMatrix.h"
#include "tools/formats/NpyFile.h"
#include "tools/formats/PngFile.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

/// The file that the pages are written to.
const std::string& openPages(PendingFiles& files, PendingFiles& temporary, const std::string& path) {
    if (path != kStandardOutput) return files.emplace_back(path).path();
    std::error_code failed;
    const fs::path folder = fs::temp_directory_path(failed);
    if (failed || ::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw outputError(
            "standard output: TMPDIR names no folder to write to; the image is put together in one first");
    }
    constexpr mode_t kForNobodyElse = 0600;
    return temporary.emplace_back((folder / "enlarged.tif").string(), kForNobodyElse).path();
}

/// The number of images is known in the end only.
class NpyPages final : public ImageFile {
  public:
    NpyPages(PendingFiles& files, const std::string& path, bool several)
        : target_(path), several_(several), file_(files.emplace_back(path).path(), std::ios::binary) {}

    void add(const cv::Mat& image, const ImageMetadata&) override {
        like_ = image;
        if (count_++ == 0) writeHeader();
        const cv::Mat dense = image.isContinuous() ? image : image.clone();
        write({dense.ptr<char>(), dense.total() * dense.elemSize()});
    }
    void close() override {
        file_.seekp(0);
        writeHeader();
        errno = 0;
        file_.close();
        check();
    }

  private:
    void writeHeader() { write(npyHeader(like_, several_ ? count_ : 0)); }
    void write(std::string_view bytes) {
        errno = 0;
        file_.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        check();
    }
    void check() const {
        if (!file_) throw outputError(target_ + ": cannot be written: " + std::strerror(errno));
    }

    std::string target_;
    bool several_;
    std::ofstream file_;
    cv::Mat like_;  // the latest image
    std::size_t count_ = 0;
};

class CsvImage final : public ImageFile {
  public:
    CsvImage(PendingFiles& files, std::string path) : files_(files), path_(std::move(path)) {}
    void add(const cv::Mat& image, const ImageMetadata&) override {
        writeText(files_, path_, encodeCsv(image));
    }

  private:
    PendingFiles& files_;
    std::string path_;
};

class PngImage final : public ImageFile {
  public:
    PngImage(PendingFiles& files, std::string path, PngOptions options, std::optional<StoredCounts>& stored)
        : files_(files), path_(std::move(path)), options_(std::move(options)), stored_(stored) {}
    void add(const cv::Mat& image, const ImageMetadata& metadata) override {
        const CountScale scale = options_.scale.forValues(image);
        const Counts counts = countsOf(image, scale);
        stored_ = StoredCounts{scale, counts.below + counts.above};
        writeText(files_, path_,
                  encodePng(counts.numbers, {scale.scale, scale.offset, options_.unit}, metadata));
    }

  private:
    PendingFiles& files_;
    std::string path_;
    PngOptions options_;
    std::optional<StoredCounts>& stored_;
};

}  // namespace

const std::vector<std::string>& imageExtensions() {
    static const std::vector<std::string> all{".tif", ".tiff", ".png", ".npy", ".csv"};
    return all;
}

std::unique_ptr<ImageFile> makeImageFile(PendingFiles& files, const std::string& path,
                                         const ImageFileOptions& options,
                                         std::optional<StoredCounts>& stored) {
    const std::string extension = path == kStandardOutput ? ".tif" : lowerExtension(path);
    if (extension == ".npy") return std::make_unique<NpyPages>(files, path, options.several);
    if (extension != ".csv" && extension != ".png") {
        return std::make_unique<TiffPages>(files, path, options.expectedBytes);
    }
    if (options.several) {
        throw outputError(
            path + ": holds one image; for those of --every name a file ending in .tif or .npy, or a folder");
    }
    if (extension == ".csv") return std::make_unique<CsvImage>(files, path);
    return std::make_unique<PngImage>(files, path, options.png, stored);
}

TiffPages::TiffPages(PendingFiles& files, const std::string& path, std::uint64_t expectedBytes)
    : writer_(openPages(files, temporary_, path), path == kStandardOutput ? "standard output" : path,
              expectedBytes) {
    if (temporary_.empty()) return;
    content_.open(temporary_.back().path(), std::ios::binary);
    temporary_.clear();
}

void TiffPages::add(const cv::Mat& image, const ImageMetadata& metadata) {
    writer_.add(image, metadata);
}

void TiffPages::close() {
    writer_.close();
}

void TiffPages::send() {
    if (!content_.is_open()) return;
    std::cout << content_.rdbuf() << std::flush;
    if (!content_ || !std::cout) throw outputError("standard output cannot be written");
}

}  // namespace oravo::tools
