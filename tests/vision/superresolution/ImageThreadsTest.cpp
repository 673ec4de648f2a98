/// Images have the same bits for every number of threads.

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <future>

#include "tests/PreciseScenes.h"

namespace oravo::test {
namespace {

using vision::SrPreciseOptions;
using vision::SrPreciseResult;

constexpr int kCounts[] = {2, 3, 7, 16};
constexpr int kReference = 2;

/// Lets 16 threads work at once on machines of fewer processors, too.
class ImageThreads : public ::testing::Test {
    tbb::global_control workers_{tbb::global_control::max_allowed_parallelism, 16};
};

/// A burst that keeps every part of the precise engine busy: frames turn and differ in level, one shows something of its
/// own, and the sensor has a pattern and a dead pixel.
std::vector<Image> preciseBurst(cv::Size size) {
    const AnalyticScene scene = AnalyticScene(size, 20.0).addWaves(3, 1.0).addPlate({0, 0}, {11, 8}, 25.0);
    std::vector<Image> frames = burst(scene, handHeld(5, 1.0), 0.08);
    const Image pattern = randomImage(1, size.width, 5, -0.4f, 0.4f);
    for (Image& frame : frames) {
        for (int y = 0; y < frame.rows; ++y) frame.row(y) += pattern;
        frame(13, 17) = 40.0f;
    }
    frames[1] = linear(frames[1], 1.05, 2.0);
    frames[4](cv::Rect(6, 6, 12, 10)) += 9.0f;
    return frames;
}

SrPreciseResult precise(const std::vector<Image>& frames, int threads, int factor = 2) {
    SrPreciseOptions options;
    options.threads = threads;
    options.factor = factor;
    return enhance(frames, kReference, options);
}

void expectAlike(const SrPreciseResult& a, const SrPreciseResult& b) {
    EXPECT_TRUE(sameBits(a.image, b.image));
    EXPECT_TRUE(sameBits(a.deviation, b.deviation));
    EXPECT_TRUE(sameBits(a.weight, b.weight));
    ASSERT_EQ(a.pattern.size(), b.pattern.size());
    EXPECT_TRUE(a.pattern.empty() || sameBits(a.pattern, b.pattern));
    EXPECT_EQ(a.deadPixels, b.deadPixels);
    EXPECT_EQ(a.gain, b.gain);
    EXPECT_EQ(a.leaning, b.leaning);
    EXPECT_EQ(a.noise, b.noise);
    for (std::size_t k = 0; k < a.frames.size(); ++k) {
        EXPECT_EQ(a.frames[k].used, b.frames[k].used);
        EXPECT_EQ(a.frames[k].dx, b.frames[k].dx);
        EXPECT_EQ(a.frames[k].misfit, b.frames[k].misfit);
    }
}

}  // namespace

TEST_F(ImageThreads, LeaveNoTraceInPreciseImages) {
    const std::vector<Image> frames = preciseBurst({72, 70});
    const SrPreciseResult alone = precise(frames, 1);
    ASSERT_FALSE(alone.pattern.empty());
    for (const int count : kCounts) {
        SCOPED_TRACE(count);
        expectAlike(precise(frames, count), alone);
    }
    const std::vector<Image> few(frames.begin(), frames.begin() + 3);
    expectAlike(precise(few, 0, 3), precise(few, 1, 3));
}

TEST_F(ImageThreads, OfTwoObjectsWorkAtOnce) {
    const std::vector<Image> frames = preciseBurst({48, 40});
    const SrPreciseResult alone = precise(frames, 1);
    std::future<SrPreciseResult> other =
        std::async(std::launch::async, [&frames] { return precise(frames, 3); });
    expectAlike(precise(frames, 2), alone);
    expectAlike(other.get(), alone);
}

}  // namespace oravo::test
