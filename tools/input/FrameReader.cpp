#include "tools/input/FrameReader.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <utility>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/formats/ForeignFile.h"
#include "tools/formats/RadiometricJpeg.h"
#include "tools/formats/VideoFile.h"
#include "tools/values/Encoding.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

using NameTest = bool (*)(const std::string& name);

bool isFrameName(const std::string& name) {
    return name.rfind("frame", 0) == 0;
}

std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code ignored;
        const std::string name = entry->path().filename().string();
        // A link to nothing, or a pipe, stands for a frame that the recording would lack.
        if (!entry->is_directory(ignored) && name.front() != '.') names.push_back(name);
    }
    if (failed) throw inputError(folder + ": folder cannot be read: " + failed.message());
    return names;
}

/// What a folder holds in place of frames, by its first file; empty where there is none.
std::string foreignIn(const std::string& folder, const std::vector<std::string>& names) {
    const auto first = std::min_element(names.begin(), names.end(), naturallyLess);
    if (first == names.end()) return {};
    try {
        openFrames((fs::path(folder) / *first).string(), std::nullopt);
    } catch (const UserError& error) {
        std::string what = error.what();  // the file, a colon, and what it is
        const std::size_t colon = what.find(": ", folder.size());
        if (colon != std::string::npos) what.erase(colon, 1);
        return format("; of %zu file%s there ", names.size(), names.size() == 1 ? "" : "s") + what;
    }
    return {};
}

}  // namespace

cv::Rect parseCrop(const std::string& text, const std::string& option) {
    static const std::regex pattern("([0-9]{1,6})x([0-9]{1,6})(?:\\+([0-9]{1,6})\\+([0-9]{1,6}))?");
    std::smatch parts;
    if (!std::regex_match(text, parts, pattern)) {
        throw UserError(ExitCode::kUsage,
                        option + " " + text + ": is not WxH or WxH+X+Y, such as 640x480+0+16");
    }
    const auto number = [&](std::size_t i) { return parts[i].matched ? std::stoi(parts[i]) : 0; };
    const cv::Rect crop(number(3), number(4), number(1), number(2));
    if (crop.empty()) throw UserError(ExitCode::kUsage, option + " " + text + ": leaves nothing");
    return crop;
}

cv::Mat cropped(const cv::Mat& image, const std::optional<cv::Rect>& part, const std::string& name) {
    if (!part) return image;
    const cv::Rect crop = *part;
    if (crop.br().x > image.cols || crop.br().y > image.rows) {
        throw inputError(format("%s: is %d x %d pixels; a crop of %dx%d+%d+%d reaches beyond", name.c_str(),
                                image.cols, image.rows, crop.width, crop.height, crop.x, crop.y));
    }
    return image(crop).clone();
}

FrameReader::FrameReader(const std::vector<std::string>& inputs, const ReadOptions& options)
    : options_(options), access_{options.given, std::make_shared<ExifTool>()} {
    for (const std::string& input : inputs) {
        std::error_code failed;
        fs::is_directory(input, failed) ? addFolder(input) : addFile(input);
    }
    if (radiometricFile_.empty()) refuseUselessConstants();
}

void FrameReader::refuseUselessConstants() const {
    for (const RadiometricQuantity& q : radiometricQuantities()) {
        const auto& number = options_.given.*q.member;
        if (!number) continue;
        throw UserError(ExitCode::kUsage,
                        format("%s %g: is for radiometric JPEG files, and there is none among the inputs",
                               q.option, *number));
    }
}

Decode FrameReader::decodeOf(const Decode& asked) const {
    Decode decode = asked;
    if (radiometricFile_.empty()) return decode;
    if (!asked.isIdentity()) {
        throw UserError(ExitCode::kUsage,
                        radiometricFile_ +
                            ": is a radiometric JPEG file, whose constants give degrees Celsius; "
                            "--encoding, --scale, --offset and --shift-right have no meaning here");
    }
    if (decode.unit.empty()) decode.unit = encodingNamed("celsius").decode.unit;
    return decode;
}

void FrameReader::addFile(const std::string& path) {
    std::error_code failed;
    if (!fs::exists(path, failed)) {
        if (failed) throw inputError(path + ": cannot be reached: " + failed.message());
        throw inputError(path + (fs::is_symlink(path, failed) ? ": is a link to a file that is not there"
                                                              : ": no such file or folder"));
    }
    if (!fs::is_regular_file(path, failed))
        throw inputError(path + ": is " + kindOfNonFile(path) + ", not a file of frames");
    std::unique_ptr<FrameSource> file = openFrames(path, options_.raw, access_);
    if (file->holdsTemperatures() && radiometricFile_.empty()) radiometricFile_ = path;
    files_.push_back({path, count_, file->count(), file->unit()});
    count_ += file->count();
    if (files_.size() == 1) {  // read next in most cases
        open_ = std::move(file);
        openPath_ = path;
    }
}

std::vector<std::string> FrameReader::frameNames(const std::vector<std::string>& all) const {
    std::vector<std::string> names;
    const auto take = [&](NameTest wanted) {
        std::copy_if(all.begin(), all.end(), std::back_inserter(names), wanted);
    };
    take(options_.raw ? isRawName : isImageName);
    if (names.empty() && !options_.raw) take(isMatrixName);
    return names;
}

std::vector<std::string> FrameReader::radiometricNames(const std::string& folder,
                                                       const std::vector<std::string>& all) {
    std::vector<std::string> names, pictures;
    for (const std::string& name : all) {
        if (!isJpegName(name)) continue;
        const std::string path = (fs::path(folder) / name).string();
        std::error_code failed;
        // What is no file at all is refused later on.
        const bool isFrame = !fs::is_regular_file(path, failed) || isRadiometricJpeg(path);
        (isFrame ? names : pictures).push_back(name);
    }
    if (!names.empty() && !pictures.empty()) {
        const auto first = std::min_element(pictures.begin(), pictures.end(), naturallyLess);
        note(format("%s: %zu JPEG file%s without a raw thermal image left out (%s ...)", folder.c_str(),
                    pictures.size(), pictures.size() == 1 ? "" : "s", first->c_str()));
    }
    return names;
}

void FrameReader::addFolder(const std::string& path) {
    const std::vector<std::string> all = filesIn(path);
    std::vector<std::string> names = frameNames(all);
    if (names.empty() && !options_.raw) names = radiometricNames(path, all);
    if (names.empty() && !options_.raw)
        std::copy_if(all.begin(), all.end(), std::back_inserter(names), isVideoName);
    if (names.empty()) {
        throw inputError(path + (options_.raw ? ": folder holds no raw files (.raw, .bin, .dat)"
                                              : ": folder holds no image files (.tif, .tiff, .png, .pgm, "
                                                ".npy, .csv), radiometric JPEGs or videos" +
                                                    foreignIn(path, all)));
    }
    if (std::any_of(names.begin(), names.end(), isFrameName)) {
        names.erase(std::remove_if(names.begin(), names.end(), std::not_fn(isFrameName)), names.end());
    }
    std::sort(names.begin(), names.end(), naturallyLess);
    for (const std::string& name : names) addFile((fs::path(path) / name).string());
}

const FrameReader::File& FrameReader::fileOf(std::size_t index) const {
    if (index >= count_) throw std::out_of_range("FrameReader: no frame " + std::to_string(index));
    const auto next = std::upper_bound(files_.begin(), files_.end(), index,
                                       [](std::size_t i, const File& file) { return i < file.first; });
    return *(next - 1);
}

std::string FrameReader::name(std::size_t index) const {
    const File& file = fileOf(index);
    if (file.count == 1) return file.path;
    return file.path + " " + file.unit + " " + std::to_string(index - file.first);
}

FrameReader::Place FrameReader::placeOf(std::size_t index) const {
    const File& file = fileOf(index);
    return {file.path, index - file.first, file.count};
}

std::vector<std::string> FrameReader::files() const {
    std::vector<std::string> all;
    for (const File& file : files_) all.push_back(file.path);
    return all;
}

bool FrameReader::readsFrom(const std::string& path) const {
    return std::any_of(files_.begin(), files_.end(),
                       [&](const File& file) { return isSameFile(file.path, path); });
}

cv::Mat FrameReader::decode(std::size_t index) {
    const File& file = fileOf(index);
    if (!open_ || openPath_ != file.path) {
        open_ = openFrames(file.path, options_.raw, access_);
        openPath_ = file.path;
    }
    if (index - file.first >= open_->count())
        throw inputError(file.path + ": was shortened while it was read");
    cv::Mat frame = open_->read(index - file.first);
    if (open_->constants() != nullptr) radiometric_.add(*open_->constants(), index, name(index));
    return frame;
}

cv::Mat FrameReader::read(std::size_t index) {
    if (index == 0 && !first_.empty()) return std::exchange(first_, {});
    const cv::Mat image = decode(index);
    if (size_.empty()) size_ = image.size();
    if (image.size() != size_) {
        throw inputError(format("%s: is %d x %d pixels, but the frames before it are %d x %d",
                                name(index).c_str(), image.cols, image.rows, size_.width, size_.height));
    }
    return cropped(image, options_.crop, name(index));
}

const cv::Mat& FrameReader::first() {
    if (first_.empty()) first_ = read(0);
    return first_;
}

void refuseFolderOfFrames(const std::string& folder) {
    std::error_code missing;
    for (fs::directory_iterator entry(folder, missing), end; !missing && entry != end;
         entry.increment(missing)) {
        const std::string name = entry->path().filename().string();
        if (!isFrameName(name) || !isImageName(name)) continue;
        throw outputError(
            format("%s: already holds %s; frames of two runs would mix there. Name another folder, or "
                   "empty this one",
                   folder.c_str(), name.c_str()));
    }
}

cv::Mat readSingleImage(const std::string& path, const std::optional<RawFormat>& raw) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) throw inputError(path + ": is a folder, not an image");
    FrameReader reader({path}, {raw, std::nullopt});
    if (reader.count() != 1) {
        throw inputError(format("%s: holds %zu frames; one image is wanted", path.c_str(), reader.count()));
    }
    return reader.read(0);
}

}  // namespace oravo::tools
