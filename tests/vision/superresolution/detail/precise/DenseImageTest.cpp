#include "vision/superresolution/detail/precise/DenseImage.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/TestScenes.h"

namespace oravo::vision::detail::precise {
namespace {

/// The mean around one pixel, by its definition.
float plainMean(const Buffer<float>& values, const Buffer<float>& weight, int width, int height, int radius,
                int x, int y) {
    double sum = 0.0, count = 0.0;
    for (int j = std::max(0, y - radius); j <= std::min(height - 1, y + radius); ++j) {
        double line = 0.0;
        for (int i = std::max(0, x - radius); i <= std::min(width - 1, x + radius); ++i) {
            const std::size_t q = areaOf(j, width) + static_cast<std::size_t>(i);
            line += static_cast<double>(weight[q]) * values[q];
            count += weight[q];
        }
        sum += line;
    }
    return count > 0.0 ? static_cast<float>(sum / count) : 0.0f;
}

}  // namespace

TEST(DenseImage, BoxMeansHaveTheBitsOfTheirDefinitionOnAnyNumberOfThreads) {
    const struct { int width, height, radius; } cases[] = {{37, 101, 3}, {5, 70, 7}, {64, 3, 1}, {1, 1, 2}};
    for (const auto& each : cases) {
        const std::size_t area = areaOf(each.width, each.height);
        const std::vector<float> random = test::randomVector(static_cast<int>(2 * area), 1);
        Buffer<float> values(area), weight(area), out(area);
        std::copy_n(random.begin(), area, values.begin());
        for (std::size_t q = 0; q < area; ++q) weight[q] = random[area + q] > 0.3f ? 1.0f : 0.0f;
        for (const int threads : {1, 3}) {
            boxMean(values, weight, each.width, each.height, each.radius, out, Threads(threads));
            for (int y = 0; y < each.height; ++y) {
                for (int x = 0; x < each.width; ++x) {
                    ASSERT_EQ(out[areaOf(y, each.width) + static_cast<std::size_t>(x)],
                              plainMean(values, weight, each.width, each.height, each.radius, x, y))
                        << each.width << " x " << each.height << " at " << x << ", " << y;
                }
            }
        }
    }
}

}  // namespace oravo::vision::detail::precise
