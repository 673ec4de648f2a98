#include "tools/ImageWriter.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>

#include "tools/Messages.h"
#include "tools/TiffPages.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

fs::path folderOf(const fs::path& path) {
    return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// A hidden file beside the target, removed unless it was committed.
class PendingFile {
  public:
    explicit PendingFile(const std::string& target) : target_(target) {
        const fs::path path(target);
        // The extension stays last: it tells the codec the format.
        const std::string name = "." + path.stem().string() + "." + std::to_string(::getpid()) + ".part" +
                                 path.extension().string();
        pending_ = (folderOf(path) / name).string();
    }
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    ~PendingFile() {
        std::error_code ignored;
        if (!committed_) fs::remove(pending_, ignored);
    }

    const std::string& path() const { return pending_; }

    void commit() {
        std::error_code failed;
        fs::rename(pending_, target_, failed);
        if (failed) throw outputError(target_ + ": cannot be written: " + failed.message());
        committed_ = true;
    }

  private:
    std::string target_;
    std::string pending_;
    bool committed_ = false;
};

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
    std::string extension = fs::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    if (std::find(extensions.begin(), extensions.end(), extension) == extensions.end()) {
        std::string known;
        for (const std::string& e : extensions) known += (known.empty() ? "" : ", ") + e;
        throw outputError(path + ": the name must end in " + known);
    }
    std::error_code ignored;
    const std::string folder = folderOf(path).string();
    if (fs::is_directory(path, ignored)) throw outputError(path + ": is a folder");
    if (!fs::is_directory(folder, ignored)) throw outputError(path + ": there is no folder " + folder);
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw outputError(path + ": cannot be written: " + std::strerror(errno));
    }
}

void makeFolder(const std::string& path) {
    std::error_code failed;
    fs::create_directories(path, failed);
    std::error_code ignored;
    if (!fs::is_directory(path, ignored)) {
        throw outputError(path +
                          ": folder cannot be made: " + (failed ? failed.message() : "a file is there"));
    }
    if (::access(path.c_str(), W_OK | X_OK) != 0) {
        throw outputError(path + ": folder cannot be written: " + std::strerror(errno));
    }
}

void writeImage(const std::string& path, const cv::Mat& image) {
    std::vector<uchar> bytes;
    try {
        if (!cv::imencode(fs::path(path).extension().string(), image, bytes)) {
            throw outputError(path + ": cannot be encoded");
        }
    } catch (const cv::Exception& e) {
        throw outputError(path + ": cannot be encoded: " + e.err);
    }
    writeBytes(path, reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

void writePages(const std::string& path, const std::vector<cv::Mat>& pages) {
    PendingFile pending(path);
    try {
        if (!cv::imwrite(pending.path(), pages)) throw outputError(path + ": cannot be written");
    } catch (const cv::Exception& e) {
        throw outputError(path + ": cannot be written: " + e.err);
    }
    // The codec does not report what goes wrong when it closes the file.
    std::size_t written = 0;
    try {
        written = readTiffPages(pending.path()).size();
    } catch (const UserError&) {
        written = 0;
    }
    if (written != pages.size()) throw outputError(path + ": cannot be written in full");
    pending.commit();
}

void writeText(const std::string& path, const std::string& text) {
    writeBytes(path, text.data(), text.size());
}

}  // namespace oravo::tools
