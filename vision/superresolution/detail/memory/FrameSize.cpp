#include "vision/superresolution/detail/memory/FrameSize.h"

#include <limits>
#include <string>

namespace oravo::vision::detail {
namespace {

constexpr float kLargestFactor = 32768.0f;  // whose square, and all that follows from it, still fits an int

}  // namespace

FrameSize checkedSize(long long width, long long height, const CodeLocation& where) {
    constexpr long long kMost = std::numeric_limits<int>::max();
    const bool fits = width >= 0 && height >= 0 && width <= kMost && height <= kMost &&
                      (height == 0 || width <= kMost / height);
    if (!fits) {
        raise(ErrorKind::badArgument,
              "Invalid image size " + std::to_string(width) + " x " + std::to_string(height) + " specified.",
              where);
    }
    return {static_cast<int>(width), static_cast<int>(height)};
}

float checkedFactor(float factor, const CodeLocation& where) {
    if (!(factor >= 1.0f && factor <= kLargestFactor)) {
        raise(ErrorKind::badArgument,
              "Invalid super-resolution factor " + std::to_string(factor) +
                  " specified, 1 to 32768 are possible.",
              where);
    }
    return factor;
}

FrameSize enlarged(FrameSize size, float factor, const CodeLocation& where) {
    const float width = static_cast<float>(size.width) * factor;
    const float height = static_cast<float>(size.height) * factor;
    constexpr float kMost = static_cast<float>(std::numeric_limits<int>::max());
    // Single precision rounds sides above 2^24, perhaps to more columns than there are.
    const auto rounded = [](int side) { return static_cast<double>(static_cast<float>(side)) != side; };
    if (width >= kMost || height >= kMost || width * height >= kMost || rounded(size.width) ||
        rounded(size.height)) {
        raise(ErrorKind::badArgument,
              "Image size " + std::to_string(size.width) + " x " + std::to_string(size.height) +
                  " is too large for super-resolution factor " + std::to_string(factor) + ".",
              where);
    }
    return {static_cast<int>(width), static_cast<int>(height)};
}

}  // namespace oravo::vision::detail
