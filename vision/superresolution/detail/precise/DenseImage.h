#ifndef ORAVO_VISION_DETAIL_PRECISE_DENSEIMAGE_H
#define ORAVO_VISION_DETAIL_PRECISE_DENSEIMAGE_H

#include <cstddef>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"

namespace oravo::vision::detail::precise {

/// Number of values of a dense image; also the index at which row `height` of one begins.
inline std::size_t areaOf(int width, int height) {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

/// The image's values without its padding.
Buffer<float> denseCopy(const PaddedImage& image);

/// out = the mean of values over the pixels of (2 radius + 1)^2 whose weight is 1; 0 where there is none.
void boxMean(const Buffer<float>& values, const Buffer<float>& weight, int width, int height, int radius,
             Buffer<float>& out, const Threads& threads = Threads());

}  // namespace oravo::vision::detail::precise

#endif
