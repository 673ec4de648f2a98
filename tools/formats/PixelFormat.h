#ifndef ORAVO_TOOLS_FORMATS_PIXELFORMAT_H
#define ORAVO_TOOLS_FORMATS_PIXELFORMAT_H

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

namespace oravo::tools {

/// More pixels than this in one image are taken for a damaged header.
constexpr std::uint64_t kMostPixels = 1u << 30;

/// How the numbers of an uncompressed frame are stored.
struct PixelFormat {
    char kind = 'u';  ///< 'u' unsigned, 'i' signed integers; 'f' IEEE floating point
    int bytes = 2;    ///< 1, 2, 4 or 8; floating point from 2
    bool bigEndian = false;

    /// Out of a name like u8, u16le, i16be, f32le: nothing where there is no such format. One byte needs no
    /// order; more need le or be.
    static std::optional<PixelFormat> named(const std::string& name);
    std::string name() const;
};

/// Whether an image can have this size: both sides at least 1, at most kMostPixels in all.
bool isPossibleSize(std::uint64_t width, std::uint64_t height);

/// One channel out of size.area() * format.bytes bytes in row order. Every number keeps its value: integers
/// of 8, 16 and (signed) 32 bits, float and double keep their type, half precision becomes float, the
/// rest double (which rounds integers beyond 2^53).
cv::Mat unpack(const char* bytes, cv::Size size, const PixelFormat& format);

/// The way back, to total() * format.bytes bytes in row order. Integers are the nearest ones (of two the even one) within
/// the range of the format, and 0 in place of NaN. Returns how many numbers lie outside that range.
std::size_t pack(const cv::Mat_<double>& numbers, const PixelFormat& format, char* bytes);

}  // namespace oravo::tools

#endif
