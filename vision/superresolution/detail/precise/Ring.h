#ifndef ORAVO_VISION_DETAIL_PRECISE_RING_H
#define ORAVO_VISION_DETAIL_PRECISE_RING_H

#include <algorithm>
#include <cstddef>

#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Calls visit(p) for each of the up to eight neighbours p of a pixel, row by row.
template <class Visit>
void forEachNeighbour(const Grid& grid, std::size_t q, Visit visit) {
    const int x = static_cast<int>(q % static_cast<std::size_t>(grid.width));
    const int y = static_cast<int>(q / static_cast<std::size_t>(grid.width));
    for (int j = std::max(0, y - 1); j <= std::min(grid.height - 1, y + 1); ++j) {
        for (int i = std::max(0, x - 1); i <= std::min(grid.width - 1, x + 1); ++i) {
            const auto p = static_cast<std::size_t>(grid.rowStart(j) + i);
            if (p != q) visit(p);
        }
    }
}

/// The up to eight neighbours of a pixel, as far as they have values.
struct Ring {
    double mean = 0.0, range = 0.0;
};

Ring ringAround(const Grid& grid, const FrameState& frame, std::size_t q);

}  // namespace oravo::vision::detail::precise

#endif
