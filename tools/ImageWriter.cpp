#include "tools/ImageWriter.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <opencv2/imgcodecs.hpp>

#include "tools/FileNames.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

void writeBytes(const std::string& target, const char* bytes, std::size_t count) {
    PendingFile pending(target);
    errno = 0;
    std::ofstream file(pending.path(), std::ios::binary | std::ios::trunc);
    file.write(bytes, static_cast<std::streamsize>(count));
    file.close();
    if (!file) throw outputError(target + ": cannot be written: " + std::strerror(errno));
    pending.commit();
}

}  // namespace

void checkTarget(const std::string& path, const std::vector<std::string>& extensions) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored) || !fs::path(path).has_filename()) {
        throw outputError(path + ": is a folder, where the name of a file is wanted");
    }
    if (std::find(extensions.begin(), extensions.end(), lowerExtension(path)) == extensions.end()) {
        std::string known;
        for (const std::string& e : extensions) known += (known.empty() ? "" : ", ") + e;
        throw outputError(path + ": the name must end in " + known);
    }
    const std::string folder = folderOf(path).string();
    if (!fs::is_directory(folder, ignored)) throw outputError(path + ": there is no folder " + folder);
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw outputError(path + ": cannot be written: " + std::strerror(errno));
    }
}

TargetFolder::TargetFolder(const std::string& path) : path_(path) {
    std::error_code failed;
    const bool existed = fs::exists(path, failed);
    fs::create_directories(path, failed);
    std::error_code ignored;
    if (!fs::is_directory(path, ignored)) {
        throw outputError(path +
                          ": folder cannot be made: " + (failed ? failed.message() : "a file is there"));
    }
    if (::access(path.c_str(), W_OK | X_OK) != 0) {
        throw outputError(path + ": folder cannot be written: " + std::strerror(errno));
    }
    isNew_ = !existed;
}

TargetFolder::~TargetFolder() {
    std::error_code notEmpty;
    if (isNew_) fs::remove(path_, notEmpty);
}

void writeImage(const std::string& path, const cv::Mat& image) {
    const std::string extension = lowerExtension(path);
    if (extension == ".tif" || extension == ".tiff") {
        TiffPages pages(path, image.total() * image.elemSize());
        pages.add(image);
        pages.finish();
        return;
    }
    std::vector<uchar> bytes;
    try {
        if (!cv::imencode(extension, image, bytes)) throw outputError(path + ": cannot be encoded");
    } catch (const cv::Exception& e) {
        throw outputError(path + ": cannot be encoded: " + e.err);
    }
    writeBytes(path, reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

TiffPages::TiffPages(const std::string& path, std::uint64_t expectedBytes)
    : toStandardOutput_(path == kStandardOutput),
      pending_(toStandardOutput_ ? (fs::temp_directory_path() / "enlarged.tif").string() : path),
      writer_(pending_.path(), toStandardOutput_ ? "standard output" : path, expectedBytes) {
}

void TiffPages::add(const cv::Mat& image) {
    writer_.add(image);
}

void TiffPages::finish() {
    writer_.close();
    if (toStandardOutput_) {
        sendToStandardOutput();
    } else {
        pending_.commit();
    }
}

void TiffPages::sendToStandardOutput() const {
    std::ifstream file(pending_.path(), std::ios::binary);
    std::cout << file.rdbuf() << std::flush;
    if (!file || !std::cout) throw outputError("standard output cannot be written");
}

void writeText(const std::string& path, const std::string& text) {
    writeBytes(path, text.data(), text.size());
}

}  // namespace oravo::tools
