#include "vision/superresolution/detail/precise/Ring.h"

#include <algorithm>

namespace oravo::vision::detail::precise {

Ring ringAround(const Grid& grid, const FrameState& frame, std::size_t q) {
    const int x = static_cast<int>(q % static_cast<std::size_t>(grid.width));
    const int y = static_cast<int>(q / static_cast<std::size_t>(grid.width));
    double sum = 0.0, lowest = 1e30, highest = -1e30;
    int count = 0;
    for (int j = std::max(0, y - 1); j <= std::min(grid.height - 1, y + 1); ++j) {
        for (int i = std::max(0, x - 1); i <= std::min(grid.width - 1, x + 1); ++i) {
            const std::size_t beside = static_cast<std::size_t>(j) * static_cast<std::size_t>(grid.width) +
                                       static_cast<std::size_t>(i);
            if (beside == q || !(frame.present[beside] > 0.0f)) continue;
            const double value = frame.values[beside];
            sum += value;
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
            ++count;
        }
    }
    return count == 0 ? Ring() : Ring{sum / count, highest - lowest};
}

}  // namespace oravo::vision::detail::precise
