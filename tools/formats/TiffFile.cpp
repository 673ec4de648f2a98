#include "tools/formats/TiffFile.h"

#include <tiffio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/formats/ForeignFile.h"
#include "tools/formats/PixelFormat.h"

namespace oravo::tools {
namespace {

// What packed data may unpack to: flat images shrink without bound, but not large ones in files of few bytes.
constexpr std::uint64_t kMostExpansion = 4096;
constexpr std::uint64_t kHarmless = 1u << 26;
constexpr char kDamaged[] = "truncated or damaged TIFF file";

struct PixelKind {
    int depth;
    std::uint16_t sampleFormat;
    std::uint16_t bits;
};
constexpr std::array<PixelKind, 6> kPixelKinds{{{CV_8U, SAMPLEFORMAT_UINT, 8},
                                                {CV_8S, SAMPLEFORMAT_INT, 8},
                                                {CV_16U, SAMPLEFORMAT_UINT, 16},
                                                {CV_16S, SAMPLEFORMAT_INT, 16},
                                                {CV_32F, SAMPLEFORMAT_IEEEFP, 32},
                                                {CV_64F, SAMPLEFORMAT_IEEEFP, 64}}};

int ignoreMessage(TIFF*, void*, const char*, const char*, va_list) {
    return 1;  // handled: nothing goes to standard error
}

/// Opens a file whose errors show in return values alone. Null on failure.
TIFF* openSilently(const std::string& path, const char* mode) {
    const std::unique_ptr<TIFFOpenOptions, void (*)(TIFFOpenOptions*)> options(TIFFOpenOptionsAlloc(),
                                                                               TIFFOpenOptionsFree);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), ignoreMessage, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreMessage, nullptr);
    return TIFFOpenExt(path.c_str(), mode, options.get());
}

template <class Number>
Number field(TIFF* file, std::uint32_t tag) {
    Number value{};
    TIFFGetFieldDefaulted(file, tag, &value);
    return value;
}

const PixelKind* pixelKind(TIFF* file) {
    const auto format = field<std::uint16_t>(file, TIFFTAG_SAMPLEFORMAT);
    const auto bits = field<std::uint16_t>(file, TIFFTAG_BITSPERSAMPLE);
    const auto* const found = std::find_if(kPixelKinds.begin(), kPixelKinds.end(), [&](const PixelKind& k) {
        return k.sampleFormat == format && k.bits == bits;
    });
    return found == kPixelKinds.end() ? nullptr : found;
}

const char* sampleFormat(TIFF* file) {
    switch (field<std::uint16_t>(file, TIFFTAG_SAMPLEFORMAT)) {
        case SAMPLEFORMAT_IEEEFP:
            return "floating point";
        case SAMPLEFORMAT_COMPLEXINT:
        case SAMPLEFORMAT_COMPLEXIEEEFP:
            return "complex numbers";
        case SAMPLEFORMAT_VOID:
            return "undefined numbers";
        default:
            return "integers";
    }
}

}  // namespace

bool isTiff(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) throw inputError(path + ": cannot be opened: " + std::strerror(errno));
    std::array<char, 4> start{};
    file.read(start.data(), start.size());
    const std::string magic(start.data(), static_cast<std::size_t>(file.gcount()));
    using namespace std::string_literals;
    return magic == "II*\0"s || magic == "MM\0*"s || magic == "II+\0"s || magic == "MM\0+"s;
}

TiffReader::TiffReader(const std::string& path)
    : path_(path), file_(openSilently(path, "r")), current_(path) {
    if (file_ == nullptr) fail(kDamaged);
    try {
        std::ifstream bytes(path, std::ios::binary | std::ios::ate);
        const auto fileSize = static_cast<std::uint64_t>(bytes.tellg());
        pages_.push_back(describe(fileSize));
        while (TIFFLastDirectory(file_) == 0) {
            current_ = path + " page " + std::to_string(pages_.size());
            if (TIFFReadDirectory(file_) == 0) fail(kDamaged);
            pages_.push_back(describe(fileSize));
        }
    } catch (...) {
        TIFFClose(file_);
        throw;
    }
}

TiffReader::~TiffReader() {
    TIFFClose(file_);
}

void TiffReader::fail(const std::string& fault) const {
    throw inputError(current_ + ": " + fault);
}

TiffReader::Page TiffReader::describe(std::uint64_t fileSize) const {
    checkKind();
    const auto width = field<std::uint32_t>(file_, TIFFTAG_IMAGEWIDTH);
    const auto height = field<std::uint32_t>(file_, TIFFTAG_IMAGELENGTH);
    if (width == 0 || height == 0) fail(kDamaged);
    if (!isPossibleSize(width, height)) {
        fail(format("%u x %u pixels are too many", width, height));
    }
    checkExtent(fileSize);
    checkClaim(fileSize, std::uint64_t{width} * height);
    if (TIFFIsTiled(file_) != 0) {
        checkClaim(fileSize, std::uint64_t{field<std::uint32_t>(file_, TIFFTAG_TILEWIDTH)} *
                                 field<std::uint32_t>(file_, TIFFTAG_TILELENGTH));
    }
    return {TIFFCurrentDirOffset(file_), cv::Size(static_cast<int>(width), static_cast<int>(height)),
            pixelKind(file_)->depth};
}

void TiffReader::checkKind() const {
    const auto channels = field<std::uint16_t>(file_, TIFFTAG_SAMPLESPERPIXEL);
    if (channels != 1)
        fail(format("has %d channels: colours or bands, not one value a pixel; %s", channels, kWantedValues));
    if (field<std::uint16_t>(file_, TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_PALETTE) {
        fail(std::string("holds palette colours, not values; ") + kWantedValues);
    }
    if (pixelKind(file_) == nullptr) {
        fail(
            format("unsupported pixel type (%s, %d bits); read are integers of 8 and 16 bits and floating "
                   "point of 32 "
                   "and 64",
                   sampleFormat(file_), field<std::uint16_t>(file_, TIFFTAG_BITSPERSAMPLE)));
    }
    const auto compression = field<std::uint16_t>(file_, TIFFTAG_COMPRESSION);
    if (TIFFIsCODECConfigured(compression) == 0) fail(format("unsupported compression (%d)", compression));
}

void TiffReader::checkExtent(std::uint64_t fileSize) const {
    const std::uint32_t count =
        TIFFIsTiled(file_) != 0 ? TIFFNumberOfTiles(file_) : TIFFNumberOfStrips(file_);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t start = TIFFGetStrileOffset(file_, i);
        if (start == 0 || start > fileSize || TIFFGetStrileByteCount(file_, i) > fileSize - start) {
            fail(kDamaged);
        }
    }
}

void TiffReader::checkClaim(std::uint64_t fileSize, std::uint64_t pixels) const {
    const bool packed = field<std::uint16_t>(file_, TIFFTAG_COMPRESSION) != COMPRESSION_NONE;
    const std::uint64_t bytes = pixels * field<std::uint16_t>(file_, TIFFTAG_BITSPERSAMPLE) / 8;
    if (pixels > kMostPixels ||
        bytes > (packed ? std::max(kHarmless, fileSize * kMostExpansion) : fileSize)) {
        fail(format("truncated or damaged TIFF file: its %llu bytes cannot hold %llu pixels",
                    static_cast<unsigned long long>(fileSize), static_cast<unsigned long long>(pixels)));
    }
}

cv::Mat TiffReader::read(std::size_t index) {
    const Page& page = pages_.at(index);
    current_ = pages_.size() == 1 ? path_ : path_ + " page " + std::to_string(index);
    if (TIFFSetSubDirectory(file_, page.directory) == 0) fail(kDamaged);
    requireMemory(page.size, current_);
    cv::Mat image(page.size, CV_MAKETYPE(page.depth, 1));
    if (TIFFIsTiled(file_) != 0) {
        readTiles(image);
    } else {
        readStrips(image);
    }
    return image;
}

void TiffReader::readStrips(cv::Mat& image) {
    const auto height = static_cast<std::uint32_t>(image.rows);
    const std::uint32_t rows = std::min(field<std::uint32_t>(file_, TIFFTAG_ROWSPERSTRIP), height);
    std::uint32_t strip = 0;
    for (std::uint32_t top = 0; top < height; top += rows, ++strip) {
        const auto bytes = static_cast<tmsize_t>(image.step * std::min(rows, height - top));
        if (TIFFReadEncodedStrip(file_, strip, image.ptr(static_cast<int>(top)), bytes) != bytes) {
            fail(kDamaged);
        }
    }
}

void TiffReader::readTiles(cv::Mat& image) {
    const auto width = field<std::uint32_t>(file_, TIFFTAG_TILEWIDTH);
    const auto height = field<std::uint32_t>(file_, TIFFTAG_TILELENGTH);
    if (!isPossibleSize(width, height)) fail(kDamaged);
    const cv::Size size(static_cast<int>(width), static_cast<int>(height));
    cv::Mat tile(size, image.type());
    const auto bytes = static_cast<tmsize_t>(tile.total() * tile.elemSize());
    std::uint32_t index = 0;
    for (int top = 0; top < image.rows; top += size.height) {
        for (int left = 0; left < image.cols; left += size.width, ++index) {
            if (TIFFReadEncodedTile(file_, index, tile.data, bytes) != bytes) fail(kDamaged);
            const cv::Rect place = cv::Rect(cv::Point(left, top), size) & cv::Rect(cv::Point(), image.size());
            tile(cv::Rect(cv::Point(), place.size())).copyTo(image(place));
        }
    }
}

}  // namespace oravo::tools
