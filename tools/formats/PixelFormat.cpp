#include "tools/formats/PixelFormat.h"

#include <algorithm>
#include <cstring>

namespace oravo::tools {
namespace {

template <class Number>
Number numberAt(const char* bytes, bool swapped) {
    char own[sizeof(Number)];
    std::memcpy(own, bytes, sizeof own);
    if (swapped) std::reverse(own, own + sizeof own);
    Number number;
    std::memcpy(&number, own, sizeof number);
    return number;
}

constexpr bool kHostIsBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

template <class Stored, class Pixel>
cv::Mat unpackAs(const char* bytes, cv::Size size, const PixelFormat& format) {
    const bool swapped = format.bigEndian != kHostIsBigEndian;
    cv::Mat_<Pixel> image(size);
    for (Pixel& pixel : cv::Mat_<Pixel>(image)) {
        pixel = static_cast<Pixel>(numberAt<Stored>(bytes, swapped));
        bytes += sizeof(Stored);
    }
    return cv::Mat(image);
}

}  // namespace

std::optional<PixelFormat> PixelFormat::named(const std::string& name) {
    for (const char kind : {'u', 'i', 'f'}) {
        for (const int bytes : {1, 2, 4, 8}) {
            for (const bool bigEndian : {false, true}) {
                const PixelFormat format{kind, bytes, bigEndian};
                if (!(kind == 'f' && bytes == 1) && format.name() == name) return format;
            }
        }
    }
    return std::nullopt;
}

std::string PixelFormat::name() const {
    return kind + std::to_string(8 * bytes) + (bytes == 1 ? "" : bigEndian ? "be" : "le");
}

bool isPossibleSize(std::uint64_t width, std::uint64_t height) {
    return width > 0 && height > 0 && width <= kMostPixels && height <= kMostPixels / width;
}

cv::Mat unpack(const char* bytes, cv::Size size, const PixelFormat& format) {
    const bool isSigned = format.kind == 'i';
    if (format.kind == 'f') {
        if (format.bytes == 2) return unpackAs<cv::float16_t, float>(bytes, size, format);
        if (format.bytes == 4) return unpackAs<float, float>(bytes, size, format);
        return unpackAs<double, double>(bytes, size, format);
    }
    switch (format.bytes) {
        case 1:
            return isSigned ? unpackAs<std::int8_t, schar>(bytes, size, format)
                            : unpackAs<std::uint8_t, uchar>(bytes, size, format);
        case 2:
            return isSigned ? unpackAs<std::int16_t, short>(bytes, size, format)
                            : unpackAs<std::uint16_t, ushort>(bytes, size, format);
        case 4:
            return isSigned ? unpackAs<std::int32_t, int>(bytes, size, format)
                            : unpackAs<std::uint32_t, double>(bytes, size, format);
        default:
            return isSigned ? unpackAs<std::int64_t, double>(bytes, size, format)
                            : unpackAs<std::uint64_t, double>(bytes, size, format);
    }
}

}  // namespace oravo::tools
