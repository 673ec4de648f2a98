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

/// A level frame of some noise but for some values, which the image misses.
FrameState levelFrame(const std::vector<std::size_t>& spikes = {}, float height = 1.0f) {
    FrameState frame;
    frame.values = filled(0.0f);
    frame.misfit = filled(0.0f);
    frame.slope = filled(0.0f);
    frame.inside = frame.present = filled(1.0f);
    for (const std::size_t q : spikes) frame.values[q] = frame.misfit[q] = height;
    frame.scale = 0.01;
    return frame;
}

std::size_t pixel(int x, int y) {
    return static_cast<std::size_t>(kSide * y + x);
}

using Found = std::vector<std::vector<std::size_t>>;

const Grid grid{kSide, kSide, 2, 4};

double distance(const Motion& motion, std::size_t p, std::size_t q) {
    const auto column = [](std::size_t i) { return static_cast<double>(i % kSide); };
    const auto row = [](std::size_t i) { return static_cast<double>(i / kSide); };
    return std::hypot(column(p) - column(q) - motion.tx, row(p) - row(q) - motion.ty);
}

}  // namespace

/// Wherever the two lie, in one frame and the next; further apart they may be there by chance.
TEST(Impulses, OfTwoFramesInTurnAreNoneWithinAPixelOfTheScene) {
    std::mt19937 random(1);
    const auto next = [&random](int count) {
        return static_cast<int>(random() % static_cast<unsigned>(count));
    };
    int together = 0, apart = 0;
    for (int i = 0; i < 2000; ++i) {
        const int x = 5 + next(6), y = 5 + next(6);
        const std::size_t p = pixel(x, y), q = pixel(x - 2 + next(5), y - 2 + next(5));
        const bool alike = next(4) != 0;
        const std::size_t second = 1 + static_cast<std::size_t>(next(2));
        std::vector<FrameState> frames{levelFrame({p}), levelFrame(), levelFrame(), levelFrame()};
        frames[second] = levelFrame({q}, alike ? 1.0f : -1.0f);
        frames[second].motion.tx = 0.25 * (next(17) - 8);
        frames[second].motion.ty = 0.25 * (next(17) - 8);
        const bool isOneThing =
            second == 1 && p != q && alike && distance(frames[second].motion, p, q) <= 1.0;
        (isOneThing ? together : apart) += 1;
        Found expected(4);
        if (!isOneThing) {
            expected[0] = {p};
            expected[second] = {q};
        }
        EXPECT_EQ(findImpulses(grid, frames), expected)
            << p << ' ' << q << ' ' << frames[second].motion.tx << ' ' << frames[second].motion.ty;
    }
    EXPECT_GT(together, 50);
    EXPECT_GT(apart, 100);
}

/// An edge that no image of that many frames explains is off in most of them; a pixel that is off by itself in most frames is
/// not, though all see the place by it.
TEST(Impulses, AreExplainedByWhatOtherFramesShowInTheirPlace) {
    const std::size_t q = pixel(8, 8);
    std::vector<FrameState> frames(5);
    for (FrameState& frame : frames) {
        frame = levelFrame();
        frame.motion.tx = 0.3;
    }
    frames[0] = levelFrame({q});
    EXPECT_EQ(findImpulses(grid, frames), (Found{{q}, {}, {}, {}, {}}));
    for (std::size_t k = 1; k < 4; ++k) frames[k].misfit[pixel(7, 8)] = 0.3f;
    EXPECT_TRUE(findImpulses(grid, frames)[0].empty());
    for (const std::size_t k : {1u, 3u, 4u}) {
        frames[k] = levelFrame({q});
        frames[k].motion.tx = 0.3;
    }
    frames[2].misfit[pixel(7, 8)] = 0.0f;
    EXPECT_EQ(findImpulses(grid, frames), (Found{{q}, {q}, {}, {q}, {q}}));
}

/// Two values side by side are a small thing that moves, as far as single ones are rare.
TEST(Impulses, LieSideBySideWhereTheyAreMany) {
    const std::vector<std::size_t> pair{pixel(4, 4), pixel(5, 4)};
    EXPECT_EQ(findImpulses(grid, {levelFrame(pair), levelFrame(), levelFrame()}), Found(3));
    std::vector<std::size_t> many = pair;
    for (const int x : {3, 7, 11}) {
        for (const int y : {8, 12}) many.push_back(pixel(x, y));
    }
    std::vector<std::size_t> ascending = many;
    std::sort(ascending.begin(), ascending.end());
    EXPECT_EQ(findImpulses(grid, {levelFrame(many), levelFrame(), levelFrame()}), (Found{ascending, {}, {}}));
}

TEST(Motion, FindsWhatLiesAtAPlace) {
    const Motion motion{1.25, -0.75, 0.01, -0.02, 0.03, -0.015};
    const Motion::Point found = motion.origin({motion.x(30.0, -17.0), motion.y(30.0, -17.0)});
    EXPECT_NEAR(found.x, 30.0, 1e-12);
    EXPECT_NEAR(found.y, -17.0, 1e-12);
}

}  // namespace oravo::vision::detail::precise
