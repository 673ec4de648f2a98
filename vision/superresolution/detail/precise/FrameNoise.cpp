#include "vision/superresolution/detail/precise/FrameNoise.h"

#include <algorithm>

#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {

double frameNoise(const FrameState& frame, int width, int height) {
    if (width < 3 || height < 3) return 0.0;
    const std::size_t inner = static_cast<std::size_t>(width - 2);
    const auto roughAt = [&](std::size_t i) -> std::optional<float> {
        const std::size_t q = (i / inner + 1) * static_cast<std::size_t>(width) + i % inner + 1;
        float across[3], all = 1.0f;
        for (int j = -1; j <= 1; ++j) {
            const float* at = frame.values.data() + q + j * width;
            const float* there = frame.present.data() + q + j * width;
            across[j + 1] = at[-1] - 2.0f * at[0] + at[1];
            all = std::min(all, std::min(there[-1], std::min(there[0], there[1])));
        }
        if (!(all > 0.0f)) return std::nullopt;
        return across[0] - 2.0f * across[1] + across[2];
    };
    std::vector<float> work;
    constexpr double kGain = 6.0;  // root of the sum of the squares of the weights
    return kSigmaPerMedian *
           quantileOfMagnitudes(inner * static_cast<std::size_t>(height - 2), 0.5, roughAt, work) / kGain;
}

}  // namespace oravo::vision::detail::precise
