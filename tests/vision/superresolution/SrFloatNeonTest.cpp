#include "vision/superresolution/SrFloatNeon.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "support/FloatBits.h"
#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/pipeline/RunAssessment.h"

namespace oravo::test {
namespace {

const std::vector<Point> kShifts = {{0, 0}, {0.4f, 0.1f}, {-2.3f, 0.5f}, {0.2f, -1.4f}, {0.5f, 0.5f}};

using FloatPipeline = vision::SrFloat<vision::SrFloatRegistration2>;
using VectorPipeline = vision::SrFloatNeon<vision::SrFloatNeonRegistration>;

/// A window of frames, and what a run of it gives and prints.
template <class Pipeline>
struct PipelineRun {
    Pipeline pipeline;
    Image image;
    float result = 0.0f;
    std::string printed;
    std::vector<Point> shifts;

    explicit PipelineRun(const std::vector<Image>& frames, float factor = 2.0f, float regError = 0.0001f)
        : pipeline(frames[0].cols, frames[0].rows, static_cast<int>(frames.size()) - 1, factor) {
        pipeline.setReferenceIndex(1);
        pipeline.setRegError(regError);
        for (const Image& frame : frames) EXPECT_EQ(pipeline.addFrame(frame), 0);  // the first one drops out
        image = Image(frames[0].size() * 2, 7.0f);
        testing::internal::CaptureStdout();
        result = pipeline.computeSR(image);
        printed = testing::internal::GetCapturedStdout();
        pipeline.getCompleteShifts(shifts);
    }
};

std::vector<Image> window(cv::Size size, std::vector<Point> shifts) {
    shifts.insert(shifts.begin(), {0.3f, 0.3f});
    return burst(Scene(3, size.height, size.width), size.height, size.width, shifts);
}

/// Runs again, into a region of a larger image.
template <class Pipeline>
void expectSameInRegion(PipelineRun<Pipeline>& run) {
    const cv::Rect inside({2, 1}, run.image.size());
    const Image expected(run.image.rows + 2, run.image.cols + 5, 7.0f);
    run.image.copyTo(expected(inside));
    const Image larger(expected.size(), 7.0f);
    Image region = larger(inside);
    testing::internal::CaptureStdout();
    EXPECT_EQ(run.pipeline.computeSR(region), run.result);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(sameBits(larger, expected));
}

TEST(SrFloatNeon, GivesWhatTheFloatPipelineGivesAndSaysNothing) {
    for (int width = 60; width <= 63; ++width) {
        const std::vector<Image> frames = window({width, 49}, kShifts);
        PipelineRun<FloatPipeline> a(frames);
        PipelineRun<VectorPipeline> b(frames);
        EXPECT_EQ(a.shifts, b.shifts);
        EXPECT_EQ(a.result, b.result);
        EXPECT_GT(b.result, 1.5f);
        EXPECT_LE(largestDifference(a.image, b.image), 65 * std::ldexp(50.0, -23));  // see the solvers' test
        EXPECT_EQ(b.printed, "");
        b.pipeline.clearFrames();
        for (std::size_t i = 1; i < frames.size(); ++i) b.pipeline.addFrame(frames[i].ptr<float>());
        Image again;
        EXPECT_EQ(b.pipeline.computeSR(again), b.result);
        EXPECT_TRUE(sameBits(again, b.image));
        expectSameInRegion(a);
        expectSameInRegion(b);
    }
}

TEST(SrFloatNeon, HasTheStatusesOfTheFloatPipeline) {
    struct Case {
        Point shift;
        float regError, status;
    };
    for (const Case& c : {Case{{4.6f, 0}, 1e-4f, 0},
                          {{0, -5.4f}, 1e-4f, -6},
                          {{1, 0}, 1e-12f, -3},
                          {{5.4f, 0}, 1e-12f, -6}}) {
        const std::vector<Image> frames = window({60, 50}, {c.shift, {0, 0}, {0, 0}, {0.1f, 0}});
        const PipelineRun<VectorPipeline> run(frames, 2.0f, c.regError);
        EXPECT_EQ(run.result, PipelineRun<FloatPipeline>(frames, 2.0f, c.regError).result);
        EXPECT_TRUE(c.status == 0 ? run.result > 1.2f : run.result == c.status) << run.result;
        EXPECT_EQ(cv::countNonZero(run.image == 7.0f), 0);  // delivered in any case
    }
    const PipelineRun<VectorPipeline> failed(std::vector<Image>(6, Image(50, 60, 20.0f)));
    EXPECT_EQ(failed.result, -998.0f);
    EXPECT_EQ(cv::countNonZero(failed.image == 7.0f), 4 * 50 * 60);
    // The first run settled that 5 frames count at most; with factor 3 it would be 10, and a gain of 2.5.
    EXPECT_EQ(PipelineRun<VectorPipeline>(std::vector<Image>(8, window({60, 50}, {})[0]), 3.0f).result, 2.0f);
    float nan[2] = {std::nanf(""), 0.0f};
    const float* masks[1] = {nan};
    EXPECT_EQ(vision::detail::resolutionGain({2, 1}, 1, masks, 5), 0.875f);  // NaN counts: 0 - 1 over 8
}

TEST(SrFloatNeon, RepairsNothing) {
    std::vector<Image> frames = window({60, 50}, kShifts);
    for (Image& frame : frames) frame(20, 30) = floatOf(vision::CODE_BAD_PIXEL);
    double repaired = 0, coded = 0;
    cv::minMaxLoc(PipelineRun<FloatPipeline>(frames).image, &repaired);
    cv::minMaxLoc(PipelineRun<VectorPipeline>(frames).image, &coded);
    EXPECT_GT(repaired, 5.0);
    EXPECT_LT(coded, 3.0);  // the code's bits are a number next to 0
    frames[2] = Image(50, 60, std::nanf(""));
    EXPECT_LT(PipelineRun<VectorPipeline>(frames).result, 1.8f);  // nothing to track, or nothing valid
}

TEST(SrFloatNeon, OneInfinitePixelSpoilsTheObject) {
    // The range of the 8-bit images never shrinks to one that shows the scene again; a new object helps.
    const std::vector<Image> frames = window({60, 50}, kShifts);
    for (const float value : {1e30f, std::numeric_limits<float>::infinity()}) {
        VectorPipeline pipeline(60, 50, 5, 2.0f);
        Image spoilt = frames[0].clone(), out;
        spoilt(20, 20) = value;
        pipeline.addFrame(spoilt);
        for (int i = 0; i < 20; ++i) pipeline.addFrame(frames[static_cast<std::size_t>(i) % frames.size()]);
        EXPECT_EQ(pipeline.computeSR(out), -998.0f);
    }
    EXPECT_GT(PipelineRun<VectorPipeline>(frames).result, 1.5f);
}

TEST(SrFloatNeon, ExportsTheFirstQuarterOfItsMasks) {
    PipelineRun<VectorPipeline> run(std::vector<Image>(4, window({15, 18}, {})[0]));
    std::vector<Image> masks(1, Image(20, 17, 9.0f)(cv::Rect(1, 1, 15, 18)));
    run.pipeline.getMasks(masks);
    ASSERT_EQ(masks.size(), 3U);
    for (const Image& mask : masks) {
        ASSERT_EQ(mask.size(), cv::Size(15, 18));
        for (int i = 0; i < 15 * 18; ++i) {
            // 270 bytes: 67 ones, and the lower half of another, which is zero.
            EXPECT_EQ(mask(i / 15, i % 15), i < 67 ? 1.0f : 0.0f) << i;
        }
    }
}

}  // namespace
}  // namespace oravo::test
