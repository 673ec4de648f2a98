#include "tools/formats/PixelFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

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

/// The nearest number of a type.
template <class Number>
Number nearest(double number) {
    if constexpr (std::is_integral_v<Number>) {
        if (std::isnan(number)) return 0;
        const double rounded = std::nearbyint(number);
        // The largest numbers of 64 bits are not among those of double precision, the power of two above them is.
        if (rounded >= std::ldexp(1.0, std::numeric_limits<Number>::digits)) {
            return std::numeric_limits<Number>::max();
        }
        constexpr Number kLowest = std::numeric_limits<Number>::lowest();
        return rounded <= static_cast<double>(kLowest) ? kLowest : static_cast<Number>(rounded);
    } else if constexpr (std::is_same_v<Number, cv::float16_t>) {
        return Number(static_cast<float>(number));
    } else {
        return static_cast<Number>(number);
    }
}

template <class Stored>
std::size_t packAs(const cv::Mat_<double>& numbers, const PixelFormat& format, char* bytes) {
    const bool swapped = format.bigEndian != kHostIsBigEndian;
    std::size_t clipped = 0;
    for (const double number : numbers) {
        const Stored stored = nearest<Stored>(number);
        if constexpr (std::is_integral_v<Stored>)
            clipped += std::abs(number - static_cast<double>(stored)) > 0.5 ? 1 : 0;
        std::memcpy(bytes, &stored, sizeof stored);
        if (swapped) std::reverse(bytes, bytes + sizeof stored);
        bytes += sizeof stored;
    }
    return clipped;
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

std::size_t pack(const cv::Mat_<double>& numbers, const PixelFormat& format, char* bytes) {
    const bool isSigned = format.kind == 'i';
    if (format.kind == 'f') {
        if (format.bytes == 2) return packAs<cv::float16_t>(numbers, format, bytes);
        if (format.bytes == 4) return packAs<float>(numbers, format, bytes);
        return packAs<double>(numbers, format, bytes);
    }
    switch (format.bytes) {
        case 1:
            return isSigned ? packAs<std::int8_t>(numbers, format, bytes)
                            : packAs<std::uint8_t>(numbers, format, bytes);
        case 2:
            return isSigned ? packAs<std::int16_t>(numbers, format, bytes)
                            : packAs<std::uint16_t>(numbers, format, bytes);
        case 4:
            return isSigned ? packAs<std::int32_t>(numbers, format, bytes)
                            : packAs<std::uint32_t>(numbers, format, bytes);
        default:
            return isSigned ? packAs<std::int64_t>(numbers, format, bytes)
                            : packAs<std::uint64_t>(numbers, format, bytes);
    }
}

}  // namespace oravo::tools
