#include "tools/output/ImageWriter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <thread>

#include "tools/base/FileNames.h"
#include "tools/base/UserError.h"
#include "tools/output/ImageFile.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

void writeBytes(PendingFiles& files, const std::string& target, const char* bytes, std::size_t count) {
    files.emplace_back(target);
    errno = 0;
    std::ofstream file(files.back().path(), std::ios::binary | std::ios::trunc);
    file.write(bytes, static_cast<std::streamsize>(count));
    file.close();
    if (!file) throw outputError(target + ": cannot be written: " + std::strerror(errno));
}

}  // namespace

void checkTarget(const std::string& path, const std::vector<std::string>& extensions) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored) || !fs::path(path).has_filename()) {
        throw outputError(path + ": is a folder, where the name of a file is wanted");
    }
    // Renaming would put a file in the place of a pipe or device.
    if (fs::exists(path, ignored) && !fs::is_regular_file(path, ignored)) {
        throw outputError(path + ": is no regular file, which alone can be replaced");
    }
    if (std::find(extensions.begin(), extensions.end(), lowerExtension(path)) == extensions.end()) {
        std::string known;
        for (const std::string& e : extensions) known += (known.empty() ? "" : ", ") + e;
        throw outputError(path + ": the name must end in " + known);
    }
    const std::string folder = folderOf(path);
    if (!fs::is_directory(folder, ignored)) throw outputError(path + ": there is no folder " + folder);
    if (::access(folder.c_str(), W_OK | X_OK) != 0) {
        throw outputError(path + ": cannot be written: " + std::strerror(errno));
    }
}

TargetFolder::TargetFolder(const std::string& path) : path_(path) {
    std::error_code failed;
    try {
        fs::path folder;
        for (const fs::path& part : fs::path(path)) {
            folder /= part;
            if (fs::create_directory(folder, failed)) made_.emplace_back(folder.string());
            if (failed && failed != std::errc::file_exists) break;
        }
        std::error_code ignored;
        if (!fs::is_directory(path, ignored)) {
            throw outputError(path +
                              ": folder cannot be made: " + (failed ? failed.message() : "a file is there"));
        }
        if (::access(path.c_str(), W_OK | X_OK) != 0) {
            throw outputError(path + ": folder cannot be written: " + std::strerror(errno));
        }
    } catch (...) {
        removeEmpty();
        throw;
    }
}

TargetFolder::~TargetFolder() {
    removeEmpty();
    if (lock_ >= 0) ::close(lock_);
}

void TargetFolder::removeEmpty() {
    for (; !made_.empty(); made_.pop_back()) ::rmdir(made_.back().path().c_str());
}

void TargetFolder::reserve() {
    lock_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    // Processes of a run that was killed hold it until they have ended, too.
    constexpr std::chrono::milliseconds kPause(20), kPatience(400);
    for (std::chrono::milliseconds waited(0); lock_ >= 0 && waited <= kPatience; waited += kPause) {
        if (::flock(lock_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
        std::this_thread::sleep_for(kPause);
    }
    if (lock_ < 0) return;
    throw outputError(path_ + ": another run is writing there; results of two runs would mix");
}

void writeImage(PendingFiles& files, const std::string& path, const cv::Mat& image,
                const ImageMetadata& metadata) {
    const std::string extension = lowerExtension(path);
    if (extension != ".png") {
        std::optional<StoredCounts> none;
        const auto file = makeImageFile(files, path, {false, image.total() * image.elemSize(), {}}, none);
        file->add(image, metadata);
        file->close();
        return;
    }
    std::vector<uchar> bytes;
    try {
        if (!cv::imencode(extension, image, bytes)) throw outputError(path + ": cannot be encoded");
    } catch (const cv::Exception& e) {
        throw outputError(path + ": cannot be encoded: " + e.err);
    }
    writeBytes(files, path, reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

void writeText(PendingFiles& files, const std::string& path, const std::string& text) {
    writeBytes(files, path, text.data(), text.size());
}

void writeImage(const std::string& path, const cv::Mat& image) {
    PendingFiles files;
    writeImage(files, path, image);
    commit(files);
}

void writeText(const std::string& path, const std::string& text) {
    PendingFiles files;
    writeText(files, path, text);
    commit(files);
}

}  // namespace oravo::tools
