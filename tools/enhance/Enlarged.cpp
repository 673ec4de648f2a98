#include "tools/enhance/Enlarged.h"

#include <cstdint>
#include <limits>

#include "support/FloatBits.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::tools {

WithoutValue markWithoutValue(cv::Mat_<float>& image) {
    WithoutValue count;
    for (float& pixel : image) {
        if (isValue(pixel)) continue;
        const std::uint32_t bits = bitsOf(pixel);
        ++(bits == vision::CODE_OVER_RANGE    ? count.overRange
           : bits == vision::CODE_UNDER_RANGE ? count.underRange
                                              : count.bad);
        pixel = std::numeric_limits<float>::quiet_NaN();
    }
    return count;
}

}  // namespace oravo::tools
