/// Images have the same bits for every number of threads.

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <future>

#include "tests/PreciseScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"

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

using FloatPipeline = vision::SrFloat<vision::SrFloatRegistration2>;

/// What a pipeline on a window makes of a recording: an image from the fifth frame on, and the masks and shifts of the last.
struct Recorded {
    std::vector<Image> images;
    std::vector<cv::Mat_<uchar>> masks;
    std::vector<Point> shifts;
};

template <class Pipeline>
Recorded record(const std::vector<Image>& frames, int threads) {
    const int window = 5;
    Pipeline pipeline(frames[0].cols, frames[0].rows, window, 2.0f);
    pipeline.setReferenceIndex(3);
    pipeline.setThreads(threads);
    Recorded recorded;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        pipeline.addFrame(frames[i]);
        if (i + 1 < static_cast<std::size_t>(window)) continue;
        recorded.images.emplace_back();
        EXPECT_GE(pipeline.computeSR(recorded.images.back()), 1.0f);
    }
    pipeline.getMasks(recorded.masks);
    pipeline.getCompleteShifts(recorded.shifts);
    return recorded;
}

template <class Pipeline>
void expectNoTrace(const std::vector<Image>& frames) {
    const Recorded alone = record<Pipeline>(frames, 1);
    for (const int count : kCounts) {
        SCOPED_TRACE(count);
        const Recorded shared = record<Pipeline>(frames, count);
        for (std::size_t i = 0; i < alone.images.size(); ++i)
            EXPECT_TRUE(sameBits(shared.images[i], alone.images[i]));
        EXPECT_EQ(shared.shifts, alone.shifts);
        for (std::size_t i = 0; i < alone.masks.size(); ++i)
            EXPECT_EQ(cv::norm(shared.masks[i], alone.masks[i], cv::NORM_L1), 0.0);
    }
}

}  // namespace

TEST_F(ImageThreads, LeaveNoTraceInFloatImages) {
    // The third frame shows something of its own, and a pixel is dead.
    const Scene scene(3, 75, 101);
    std::vector<Image> frames =
        burst(scene, 150, 202, {{0, 0}, {3.3f, -2.4f}, {-1.2f, 1.45f}, {0.4f, 2.2f}, {-2.4f, -0.1f}, {1, 1}});
    for (Image& frame : frames) frame(20, 30) = 500.0f;
    frames[2](cv::Rect(60, 50, 40, 30)) += 5.0f;
    expectNoTrace<FloatPipeline>(frames);
    expectNoTrace<vision::SrFloat<vision::SrFloatRegistration1>>(frames);
}

TEST_F(ImageThreads, FindTheFirstFrameWithoutDetail) {
    // Frames after it count no more, in whatever order threads come to them.
    std::vector<Image> frames =
        burst(Scene(3, 40, 60), 80, 120, {{0, 0}, {1.3f, 0}, {0, 0}, {0, 1.4f}, {2, 1}});
    frames[2] = 20.0f;
    std::vector<std::vector<char>> found;
    for (const int threads : {1, 2, 16}) {
        vision::SrFloatRegistration2 registration(120, 80, 5);
        registration.setThreads(threads);
        Masks masks(5, 120 * 80);
        std::vector<Image> moved = clones(frames);
        std::vector<float*> in = pointers(frames), out = pointers(moved);
        std::vector<Point> shifts(5);
        for (const float* frame : in) registration.prepareFrame(frame);
        EXPECT_EQ(
            registration.doRegistration(5, 4, in.data(), shifts.data(), masks.pointers.data(), out.data()),
            0);
        EXPECT_EQ(
            registration.doRegistration(5, 2, in.data(), shifts.data(), masks.pointers.data(), out.data()),
            -9);
        found.insert(found.end(), masks.values.begin(), masks.values.end());
    }
    for (std::size_t i = 5; i < found.size(); ++i) EXPECT_EQ(found[i], found[i % 5]);
}

TEST_F(ImageThreads, LeaveNoTraceInPreciseImages) {
    const std::vector<Image> frames = preciseBurst({64, 46});
    const SrPreciseResult alone = precise(frames, 1);
    ASSERT_FALSE(alone.pattern.empty());
    for (const int count : {3, 16}) {
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
