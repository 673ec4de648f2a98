#ifndef ORAVO_VISION_DETAIL_MEMORY_FRAMESIZE_H
#define ORAVO_VISION_DETAIL_MEMORY_FRAMESIZE_H

#include <cstddef>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {

/// Columns and rows of an image whose pixel count fits an int.
struct FrameSize {
    int width = 0;
    int height = 0;

    int pixelCount() const { return width * height; }
    std::size_t elements() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
};

/// The size (width, height); throws an Exception that names it when a side is negative or the number of pixels
/// overflows.
FrameSize checkedSize(long long width, long long height, const CodeLocation& where);

/// The factor itself; throws an Exception that names it when it is not a number from 1 to 32768.
float checkedFactor(float factor, const CodeLocation& where);

/// The size enlarged by a factor: each side computed in single precision and truncated. Throws an Exception
/// that names both when the number of pixels overflows, or a side is not exact in single precision.
FrameSize enlarged(FrameSize size, float factor, const CodeLocation& where);

}  // namespace oravo::vision::detail

#endif
