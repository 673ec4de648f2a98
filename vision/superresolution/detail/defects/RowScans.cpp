#include "vision/superresolution/detail/defects/RowScans.h"

#include <algorithm>

#include "support/FloatBits.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::vision::detail {
namespace {

/// True for the codes, and for one denormal value between them.
bool maybeCode(float value) {
    return bitsOf(value) - CODE_OVER_RANGE <= CODE_INVALID - CODE_OVER_RANGE;
}

}  // namespace

bool mayHoldCode(const float* pixels, int n) {
    bool found = false;
    for (int i = 0; i < n; ++i) found |= maybeCode(pixels[i]);
    return found;
}

bool mayHoldBadPixel(const float* pixels, int n, float minValue, float maxValue) {
    bool found = false;
    for (int i = 0; i < n; ++i) {
        const bool plausible = (pixels[i] >= minValue) & (pixels[i] <= maxValue);  // a NaN is not
        found |= !plausible | maybeCode(pixels[i]);
    }
    return found;
}

bool holdsDefect(const unsigned char* classes, int n) {
    unsigned char found = 0;
    for (int i = 0; i < n; ++i) found = static_cast<unsigned char>(found | classes[i]);
    return found != 0;
}

void widen(const float* pixels, int n, float& minVal, float& maxVal) {
    constexpr int kLanes = 16;
    float low[kLanes];
    float high[kLanes];
    std::fill_n(low, kLanes, minVal);
    std::fill_n(high, kLanes, maxVal);
    int i = 0;
    for (; i + kLanes <= n; i += kLanes) {
        for (int lane = 0; lane < kLanes; ++lane) {
            low[lane] = pixels[i + lane] < low[lane] ? pixels[i + lane] : low[lane];
            high[lane] = pixels[i + lane] > high[lane] ? pixels[i + lane] : high[lane];
        }
    }
    minVal = std::min(*std::min_element(low, low + kLanes), minVal);
    maxVal = std::max(*std::max_element(high, high + kLanes), maxVal);
    for (; i < n; ++i) {
        minVal = std::min(pixels[i], minVal);
        maxVal = std::max(pixels[i], maxVal);
    }
}

}  // namespace oravo::vision::detail
