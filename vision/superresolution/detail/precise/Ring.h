#ifndef ORAVO_VISION_DETAIL_PRECISE_RING_H
#define ORAVO_VISION_DETAIL_PRECISE_RING_H

#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// The up to eight neighbours of a pixel, as far as they have values.
struct Ring {
    double mean = 0.0, range = 0.0;
};

Ring ringAround(const Grid& grid, const FrameState& frame, std::size_t q);

}  // namespace oravo::vision::detail::precise

#endif
