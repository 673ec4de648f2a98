#include "vision/superresolution/detail/precise/FrameNoise.h"

#include <algorithm>

#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {

double frameNoise(const FrameState& frame, int width, int height) {
    std::vector<float> rough, work;
    for (int y = 1; y + 1 < height; ++y) {
        const float* v = frame.values.data() + static_cast<std::ptrdiff_t>(y) * width;
        const float* known = frame.present.data() + static_cast<std::ptrdiff_t>(y) * width;
        for (int x = 1; x + 1 < width; ++x) {
            float across[3], all = 1.0f;
            for (int j = -1; j <= 1; ++j) {
                const float* at = v + j * width + x;
                across[j + 1] = at[-1] - 2.0f * at[0] + at[1];
                const float* there = known + j * width + x;
                all = std::min(all, std::min(there[-1], std::min(there[0], there[1])));
            }
            if (all > 0.0f) rough.push_back(across[0] - 2.0f * across[1] + across[2]);
        }
    }
    constexpr double kGain = 6.0;  // root of the sum of the squares of the weights
    return kSigmaPerMedian * medianMagnitude(rough.data(), rough.size(), work) / kGain;
}

}  // namespace oravo::vision::detail::precise
