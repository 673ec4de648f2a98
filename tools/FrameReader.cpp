#include "tools/FrameReader.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>

#include "tools/Messages.h"
#include "tools/TiffPages.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

constexpr int kPagesPerRun = 16;

bool isDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/// Compares the runs of digits at both positions as numbers of any length and steps over them.
int compareNumbers(const std::string& a, std::size_t& i, const std::string& b, std::size_t& j) {
    const auto run = [](const std::string& text, std::size_t& at) {
        while (at < text.size() && text[at] == '0') ++at;
        const std::size_t start = at;
        while (at < text.size() && isDigit(text[at])) ++at;
        return text.substr(start, at - start);
    };
    const std::string x = run(a, i);
    const std::string y = run(b, j);
    if (x.size() != y.size()) return x.size() < y.size() ? -1 : 1;
    return x.compare(y);
}

bool isImageName(const fs::path& path) {
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
    const bool known =
        extension == ".tif" || extension == ".tiff" || extension == ".png" || extension == ".pgm";
    return known && path.filename().string().front() != '.';
}

/// Whether the page's values are signed; refuses pages that the codec would misread without a word.
bool checkedSign(const std::string& path, const TiffPage& page) {
    const bool wholeNumbers = page.sampleFormat != TiffPage::kFloat;
    if (page.samplesPerPixel == 1 && wholeNumbers && page.bitsPerSample > 16) {
        throw inputError(format("%s: unsupported pixel type (whole numbers of %d bits)", path.c_str(),
                                static_cast<int>(page.bitsPerSample)));
    }
    return page.sampleFormat == TiffPage::kSigned;
}

cv::Mat asSigned(const cv::Mat& image) {
    if (image.depth() != CV_8U && image.depth() != CV_16U) return image;
    const int type = image.depth() == CV_8U ? CV_8S : CV_16S;
    return cv::Mat(image.rows, image.cols, CV_MAKETYPE(type, image.channels()), image.data, image.step)
        .clone();
}

}  // namespace

bool naturallyLess(const std::string& a, const std::string& b) {
    std::size_t i = 0;
    std::size_t j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            const int order = compareNumbers(a, i, b, j);
            if (order != 0) return order < 0;
        } else {
            if (a[i] != b[j]) return a[i] < b[j];
            ++i;
            ++j;
        }
    }
    if (a.size() - i != b.size() - j) return a.size() - i < b.size() - j;
    return a < b;  // equal but for leading zeros
}

FrameReader::FrameReader(const std::vector<std::string>& inputs) {
    for (const std::string& input : inputs) {
        std::error_code failed;
        if (!fs::exists(input, failed)) throw inputError(input + ": no such file or folder");
        if (fs::is_directory(input, failed)) {
            addFolder(input);
        } else {
            addFile(input);
        }
    }
}

void FrameReader::addFile(const std::string& path) {
    if (!isTiff(path)) {
        frames_.push_back({path, 0, 1, false});
        return;
    }
    const std::vector<TiffPage> pages = readTiffPages(path);
    for (std::size_t i = 0; i < pages.size(); ++i) {
        frames_.push_back(
            {path, static_cast<int>(i), static_cast<int>(pages.size()), checkedSign(path, pages[i])});
    }
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

cv::Mat FrameReader::decodePage(const Frame& frame) {
    if (frame.pages == 1) return cv::imread(frame.path, cv::IMREAD_UNCHANGED);
    const int run = frame.page / kPagesPerRun * kPagesPerRun;
    if (cachedPath_ != frame.path || cachedStart_ != run) {
        cachedPages_.clear();
        cachedPath_ = frame.path;
        cachedStart_ = run;
        const int length = std::min(kPagesPerRun, frame.pages - run);
        cv::imreadmulti(frame.path, cachedPages_, run, length, cv::IMREAD_UNCHANGED);
    }
    const auto position = static_cast<std::size_t>(frame.page - run);
    return position < cachedPages_.size() ? cachedPages_[position] : cv::Mat();
}

cv::Mat FrameReader::read(std::size_t index) {
    const Frame& frame = frames_.at(index);
    cv::Mat image;
    try {
        image = decodePage(frame);
    } catch (const cv::Exception& e) {
        throw inputError(name(index) + ": cannot be read: " + e.err);
    }
    if (image.empty()) throw inputError(name(index) + ": cannot be read as an image");
    if (image.channels() != 1) {
        throw inputError(
            format("%s: has %d channels; frames have one", name(index).c_str(), image.channels()));
    }
    if (frame.isSigned) image = asSigned(image);
    if (image.depth() == CV_32S || image.depth() > CV_64F) {
        throw inputError(name(index) + ": unsupported pixel type");
    }
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
