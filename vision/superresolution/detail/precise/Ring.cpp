#include "vision/superresolution/detail/precise/Ring.h"

namespace oravo::vision::detail::precise {

Ring ringAround(const Grid& grid, const FrameState& frame, std::size_t q) {
    double sum = 0.0, lowest = 1e30, highest = -1e30;
    int count = 0;
    forEachNeighbour(grid, q, [&](std::size_t beside) {
        if (!(frame.present[beside] > 0.0f)) return;
        const double value = frame.values[beside];
        sum += value;
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
        ++count;
    });
    return count == 0 ? Ring() : Ring{sum / count, highest - lowest};
}

}  // namespace oravo::vision::detail::precise
