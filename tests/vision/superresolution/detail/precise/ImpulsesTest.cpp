#include "vision/superresolution/detail/precise/Impulses.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace oravo::vision::detail::precise {
namespace {

constexpr int kSide = 16;
constexpr std::size_t kPixels = kSide * kSide;

Buffer<float> filled(float value) {
    Buffer<float> buffer(kPixels);
    std::fill(buffer.begin(), buffer.end(), value);
    return buffer;
}

/// A level frame of some noise but for one value, which the image misses.
FrameState frameWithASpike(std::size_t at, float height) {
    FrameState frame;
    frame.values = filled(0.0f);
    frame.misfit = filled(0.0f);
    frame.slope = filled(0.0f);
    frame.inside = frame.present = filled(1.0f);
    frame.values[at] = frame.misfit[at] = height;
    frame.scale = 0.01;
    return frame;
}

double distance(const Motion& motion, std::size_t p, std::size_t q) {
    const auto column = [](std::size_t i) { return static_cast<double>(i % kSide); };
    const auto row = [](std::size_t i) { return static_cast<double>(i / kSide); };
    return std::hypot(column(p) - column(q) - motion.tx, row(p) - row(q) - motion.ty);
}

}  // namespace

/// Wherever the two lie.
TEST(Impulses, OfTwoFramesAreNoneWithinAPixelOfTheScene) {
    const Grid grid{kSide, kSide, 2, 4};
    std::mt19937 random(1);
    const auto next = [&random](int count) {
        return static_cast<int>(random() % static_cast<unsigned>(count));
    };
    int together = 0, apart = 0;
    for (int i = 0; i < 2000; ++i) {
        const auto pixel = [](int x, int y) { return static_cast<std::size_t>(kSide * y + x); };
        const int x = 3 + next(10), y = 3 + next(10);
        const std::size_t p = pixel(x, y), q = pixel(x - 2 + next(5), y - 2 + next(5));
        const bool alike = next(4) != 0;
        std::vector<FrameState> frames{frameWithASpike(p, 1.0f), frameWithASpike(q, alike ? 1.0f : -1.0f)};
        frames[1].motion.tx = 0.25 * (next(17) - 8);
        frames[1].motion.ty = 0.25 * (next(17) - 8);
        const bool isOneThing = p != q && alike && distance(frames[1].motion, p, q) <= 1.0;
        (isOneThing ? together : apart) += 1;
        const std::vector<std::vector<std::size_t>> spikes{{p}, {q}};
        EXPECT_EQ(findImpulses(grid, frames, spikes),
                  isOneThing ? std::vector<std::vector<std::size_t>>(2) : spikes)
            << p << ' ' << q << ' ' << frames[1].motion.tx << ' ' << frames[1].motion.ty;
    }
    EXPECT_GT(together, 100);
    EXPECT_GT(apart, 100);
}

}  // namespace oravo::vision::detail::precise
