#ifndef ORAVO_VISION_DETAIL_DEFECTS_STATUSCODES_H
#define ORAVO_VISION_DETAIL_DEFECTS_STATUSCODES_H

#include "support/FloatBits.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::vision::detail {

/// Whether a pixel carries one of the four status codes in place of a value.
inline bool isStatusCode(float pixel) {
    const std::uint32_t bits = bitsOf(pixel);
    return bits == CODE_OVER_RANGE || bits == CODE_UNDER_RANGE || bits == CODE_BAD_PIXEL ||
           bits == CODE_INVALID;
}

}  // namespace oravo::vision::detail

#endif
