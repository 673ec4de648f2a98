#include "vision/superresolution/detail/precise/DeadPixels.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace oravo::vision::detail::precise {
namespace {

constexpr int kSide = 16;
constexpr std::size_t kPixels = kSide * kSide, kPixel = 7 * kSide + 8;

Buffer<float> filled(float value) {
    Buffer<float> buffer(kPixels);
    std::fill(buffer.begin(), buffer.end(), value);
    return buffer;
}

/// Five frames of 0.01 of noise whose misfit is that of the noise, and values at one pixel that an image with little
/// prior explains for the most part, with a steep slope. `changes` is by how much they differ from frame to frame.
std::vector<FrameState> framesWithAnOddPixel(float height, float changes, float aroundIt) {
    std::vector<FrameState> frames(5);
    for (std::size_t k = 0; k < frames.size(); ++k) {
        FrameState& frame = frames[k];
        frame.values = filled(0.0f);
        frame.misfit = filled(k % 2 == 0 ? 0.007f : -0.007f);
        frame.inside = frame.present = frame.agreement = filled(1.0f);
        frame.slope = filled(0.0f);
        frame.scale = 0.01;
        frame.values[kPixel] = height + changes * static_cast<float>(k);
        frame.values[kPixel + 1] = aroundIt;
        frame.misfit[kPixel] = 0.1f * height;
        frame.slope[kPixel] = 2.0f * height;
    }
    return frames;
}

}  // namespace

TEST(DeadPixels, AtTheFootOfAnEdgeTheImageChangesAsLittleAsTheValues) {
    const Grid grid{kSide, kSide, 2, 4};
    // In standard deviations of the noise. In the third and the fourth frame the edge is near, where the image is too low.
    const float values[] = {1.2f, 0.1f, 4.9f, 3.7f, 0.0f}, misfits[] = {1.5f, -0.9f, 7.3f, 8.4f, 2.7f};
    std::vector<FrameState> frames = framesWithAnOddPixel(0.0f, 0.0f, 0.0f);
    for (std::size_t k = 0; k < frames.size(); ++k) {
        frames[k].values[kPixel] = 0.01f * values[k];
        frames[k].misfit[kPixel] = 0.01f * misfits[k];
        frames[k].values[kPixel + 1] = 0.1f + 0.2f * static_cast<float>(k % 4);
    }
    EXPECT_TRUE(findDeadPixels(grid, frames, {}).empty());
    for (const FrameState& frame : frames)
        frame.values[kPixel] = 0.0f;  // while the image says that they should
    EXPECT_EQ(findDeadPixels(grid, frames, {}), std::vector<std::size_t>{kPixel});
}

TEST(DeadPixels, AValueThatStaysFarOffSmoothNeighboursIsDeadThoughTheImageExplainsIt) {
    const Grid grid{kSide, kSide, 2, 4};
    EXPECT_EQ(findDeadPixels(grid, framesWithAnOddPixel(2.0f, 0.0f, 0.0f)), std::vector<std::size_t>{kPixel});
    EXPECT_EQ(findDeadPixels(grid, framesWithAnOddPixel(-2.0f, 0.005f, 0.0f)),
              std::vector<std::size_t>{kPixel});
    // A small hot spot of the scene changes as it moves over the sensor, and reaches its neighbours.
    EXPECT_TRUE(findDeadPixels(grid, framesWithAnOddPixel(2.0f, 0.1f, 0.0f)).empty());
    EXPECT_TRUE(findDeadPixels(grid, framesWithAnOddPixel(2.0f, 0.0f, 1.5f)).empty());
    EXPECT_TRUE(findDeadPixels(grid, framesWithAnOddPixel(0.3f, 0.0f, 0.0f)).empty());
}

}  // namespace oravo::vision::detail::precise
