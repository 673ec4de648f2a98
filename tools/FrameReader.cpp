#include "tools/FrameReader.h"

#include <algorithm>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>

#include "tools/FileNames.h"
#include "tools/Messages.h"
#include "tools/StandardErrorSilencer.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

bool isImageName(const fs::path& path) {
    const std::string extension = lowerExtension(path.string());
    const bool known =
        extension == ".tif" || extension == ".tiff" || extension == ".png" || extension == ".pgm";
    return known && path.filename().string().front() != '.';
}

/// Reads what is not TIFF: through the codecs, which tell trouble by an empty image or by an exception.
cv::Mat readByCodec(const std::string& path) {
    cv::Mat image;
    try {
        const StandardErrorSilencer silencer;
        image = cv::imread(path, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception& e) {
        throw inputError(path + ": cannot be read: " + e.err);
    }
    if (image.empty()) throw inputError(path + ": cannot be read as an image");
    if (image.channels() != 1) {
        throw inputError(format("%s: has %d channels; frames have one", path.c_str(), image.channels()));
    }
    return image;
}

}  // namespace

FrameReader::FrameReader(const std::vector<std::string>& inputs) {
    for (const std::string& input : inputs) {
        std::error_code failed;
        if (!fs::exists(input, failed)) throw inputError(input + ": no such file or folder");
        if (fs::is_directory(input, failed)) {
            addFolder(input);
        } else if (fs::is_regular_file(input, failed)) {
            addFile(input);
        } else {
            throw inputError(input + ": is neither a file nor a folder");
        }
    }
}

void FrameReader::addFile(const std::string& path) {
    if (!isTiff(path)) {
        frames_.push_back({path, kNoTiff, 1});
        return;
    }
    const TiffReader file(path);
    for (std::size_t i = 0; i < file.pages(); ++i) frames_.push_back({path, i, file.pages()});
}

void FrameReader::addFolder(const std::string& path) {
    std::vector<std::string> names;
    std::error_code failed;
    for (fs::directory_iterator entry(path, failed), end; !failed && entry != end; entry.increment(failed)) {
        std::error_code ignored;
        if (entry->is_regular_file(ignored) && isImageName(entry->path())) {
            names.push_back(entry->path().filename().string());
        }
    }
    if (failed) throw inputError(path + ": folder cannot be read: " + failed.message());
    if (names.empty()) throw inputError(path + ": folder holds no image files (.tif, .tiff, .png, .pgm)");
    const auto isFrame = [](const std::string& name) { return name.rfind("frame", 0) == 0; };
    if (std::any_of(names.begin(), names.end(), isFrame)) {
        names.erase(std::remove_if(names.begin(), names.end(), [&](const auto& n) { return !isFrame(n); }),
                    names.end());
    }
    std::sort(names.begin(), names.end(), naturallyLess);
    for (const std::string& name : names) addFile((fs::path(path) / name).string());
}

std::string FrameReader::name(std::size_t index) const {
    const Frame& frame = frames_.at(index);
    return frame.pages == 1 ? frame.path : frame.path + " page " + std::to_string(frame.page);
}

bool FrameReader::readsFrom(const std::string& path) const {
    return std::any_of(frames_.begin(), frames_.end(),
                       [&](const Frame& frame) { return isSameFile(frame.path, path); });
}

cv::Mat FrameReader::decode(const Frame& frame) {
    if (frame.page == kNoTiff) return readByCodec(frame.path);
    if (!tiff_ || tiff_->path() != frame.path) tiff_ = std::make_unique<TiffReader>(frame.path);
    if (frame.page >= tiff_->pages()) throw inputError(frame.path + ": was shortened while it was read");
    return tiff_->read(frame.page);
}

cv::Mat FrameReader::read(std::size_t index) {
    const cv::Mat image = decode(frames_.at(index));
    if (size_.empty()) size_ = image.size();
    if (image.size() != size_) {
        throw inputError(format("%s: is %d x %d pixels, but the frames before it are %d x %d",
                                name(index).c_str(), image.cols, image.rows, size_.width, size_.height));
    }
    return image;
}

cv::Mat readSingleImage(const std::string& path) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) throw inputError(path + ": is a folder, not an image");
    FrameReader reader({path});
    if (reader.count() != 1) {
        throw inputError(format("%s: holds %zu pages; one image is wanted", path.c_str(), reader.count()));
    }
    return reader.read(0);
}

}  // namespace oravo::tools
