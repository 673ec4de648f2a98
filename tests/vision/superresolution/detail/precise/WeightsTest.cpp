#include "vision/superresolution/detail/precise/Weights.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace oravo::vision::detail::precise {
namespace {

constexpr int kWidth = 48, kHeight = 16;
constexpr std::size_t kPixels = kWidth * kHeight;
constexpr float kNoise = 0.01f;
const Grid kGrid{kWidth, kHeight, 2, 4};

Buffer<float> filled(float value) {
    Buffer<float> buffer(kPixels);
    std::fill(buffer.begin(), buffer.end(), value);
    return buffer;
}

FrameState flatFrame() {
    FrameState frame;
    frame.values = filled(0.0f);
    frame.misfit = filled(0.0f);
    frame.slope = filled(0.0f);
    frame.weight = filled(0.0f);
    frame.inside = frame.present = frame.agreement = filled(1.0f);
    frame.scale = kNoise;
    return frame;
}

std::size_t at(int x) {
    return static_cast<std::size_t>(kHeight / 2 * kWidth + x);
}

}  // namespace

/// The other frame fits on the left; elsewhere the image misfits it by three times the noise, and the reference does by
/// little more in the middle, but by 20 times the noise on the right.
TEST(Weights, FramesLoseThemWhereTheImageDoesNoBetterThanTheReference) {
    std::vector<FrameState> frames{flatFrame(), flatFrame()};
    for (std::size_t q = 0; q < kPixels; ++q) {
        const int third = static_cast<int>(q) % kWidth / (kWidth / 3);
        frames[1].values[q] = third == 0 ? 0.0f : third == 1 ? 3.5f * kNoise : 20.0f * kNoise;
        frames[1].misfit[q] = third == 0 ? 0.0f : 3.0f * kNoise;
    }
    weighByMisfit(kGrid, frames);
    const float before = frames[1].weight[at(kWidth / 2)];
    EXPECT_GT(before, 0.05f);
    const Buffer<float> none;
    weighByGain(kGrid, frames, 0, none);
    EXPECT_EQ(frames[1].weight[at(4)], 1.0f);
    EXPECT_EQ(frames[1].weight[at(kWidth / 2)], 0.0f);
    EXPECT_EQ(frames[1].weight[at(kWidth - 5)], before);
    EXPECT_TRUE(
        std::all_of(frames[0].weight.begin(), frames[0].weight.end(), [](float w) { return w == 1.0f; }));
}

/// A single bad value costs its own weight; a neighbourhood that is far off counts no more at all.
TEST(Weights, NeighbourhoodsThatAreFarOffAreLost) {
    std::vector<FrameState> frames{flatFrame(), flatFrame()};
    frames[1].misfit[at(8)] = 40.0f * kNoise;
    for (int y = 0; y < kHeight; ++y)
        std::fill_n(&frames[1].misfit[static_cast<std::size_t>(y * kWidth + 24)], 24, 5.0f * kNoise);
    weighByMisfit(kGrid, frames);
    EXPECT_LT(frames[1].weight[at(8)], 0.02f);
    EXPECT_EQ(frames[1].weight[at(9)], 1.0f);
    EXPECT_EQ(frames[1].weight[at(40)], 0.0f);
    // Five times more forgiving, all of it is noise.
    weighByMisfit(kGrid, frames, 5.0f);
    EXPECT_GT(frames[1].weight[at(40)], 0.9f);
}

}  // namespace oravo::vision::detail::precise
