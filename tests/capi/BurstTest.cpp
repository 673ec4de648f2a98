#include "capi/Burst.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "capi/SuperResolution.h"
#include "support/FloatBits.h"
#include "tests/TestScenes.h"
#include "tests/capi/Bursts.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SrPrecise.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::test {
namespace {

double figureOf(oravo_burst burst, const char* name) {
    double value = 0.0;
    EXPECT_EQ(oravo_burst_figure(burst, name, &value), ORAVO_BURST_OK) << oravo_burst_error(burst);
    return value;
}

TEST(Burst, GivesWhatThePreciseEngineGives) {
    const std::vector<Image> frames = movingBurst(3);
    oravo_burst_options options = optionsOf(ORAVO_BURST_PRECISE);
    options.psf_sigma = 0.6f;
    options.psf_box = 1.8f;
    const OwnedBurst burst(frames, options);
    ASSERT_EQ(oravo_burst_reconstruct(burst, 3), ORAVO_BURST_OK) << oravo_burst_error(burst);
    vision::SrPreciseOptions same;
    same.psfSigma = 0.6f;
    same.psfBox = 1.8f;
    const vision::SrPreciseResult expected =
        vision::SrPrecise(kWidth, kHeight, same).compute({frames.begin(), frames.end()}, 1);
    EXPECT_TRUE(sameBits(burst.image(), expected.image));
    Image map(2 * kHeight, 2 * kWidth);
    ASSERT_EQ(oravo_burst_deviation(burst, map[0], 0), ORAVO_BURST_OK);
    EXPECT_TRUE(sameBits(map, expected.deviation));
    ASSERT_EQ(oravo_burst_weight(burst, map[0], 0), ORAVO_BURST_OK);
    EXPECT_TRUE(sameBits(map, expected.weight));
    oravo_burst_frame info;
    ASSERT_EQ(oravo_burst_frame_info(burst, 4, &info, sizeof info), ORAVO_BURST_OK);
    EXPECT_EQ(info.dx, expected.frames[4].dx);
    EXPECT_EQ(info.linear[2], expected.frames[4].linear[1][0]);
    EXPECT_EQ(info.gain, expected.frames[4].gain);
    EXPECT_EQ(info.weight, expected.frames[4].weight);
    const std::pair<const char*, double> figures[] = {{"withheld_error", expected.withheldError},
                                                      {"gain_db", expected.gain},
                                                      {"trusted", expected.trusted ? 1.0 : 0.0},
                                                      {"leaning", expected.leaning},
                                                      {"share_on_reference", expected.shareOnReference},
                                                      {"noise", expected.noise},
                                                      {"used_frames", 5.0},
                                                      {"reference", 1.0}};
    for (const auto& [name, value] : figures) EXPECT_EQ(figureOf(burst, name), value) << name;
}

/// What a pipeline of the public classes makes of a window of frames.
template <class Pipeline>
Image madeBy(const std::vector<Image>& frames, int reference) {
    testing::internal::CaptureStdout();
    Pipeline pipeline(kWidth, kHeight, static_cast<int>(frames.size()), 2.0f);
    if constexpr (!std::is_same_v<Pipeline, vision::SuperResolution>) pipeline.setReferenceIndex(reference);
    pipeline.setPsfSigma(0.75f);
    pipeline.setWeightTV(100.0f);
    pipeline.setMaxCGIters(20);
    pipeline.setRelativeResidue(0.003f);
    pipeline.setRegError(0.001f);
    for (const Image& frame : frames) pipeline.addFrame(frame.ptr<float>());
    Image out(2 * kHeight, 2 * kWidth);
    pipeline.computeSR(out.ptr<float>());
    testing::internal::GetCapturedStdout();
    return out;
}

TEST(Burst, KeepsDeadPixelsForLaterFramesUntilItIsCleared) {
    const std::vector<Point> shifts{{0, 0}, {1.2f, -0.7f}, {-0.8f, 1.4f}, {2.1f, 0.6f}, {0.5f, -1.6f}};
    std::vector<Image> moving = burst(Scene(3, kHeight, kWidth), kHeight, kWidth, shifts);
    for (Image& frame : moving) frame(9, 12) = frame(30, 20) = moving[1](9, 12) + 5.0f;
    const std::vector<Image> still(5, moving.back());  // shows nothing of the sensor
    oravo_burst_options options = optionsOf(ORAVO_BURST_PRECISE);
    options.frames = 5;
    const vision::SrPrecise engine(kWidth, kHeight);
    const vision::SrPreciseResult before = engine.compute({moving.begin(), moving.end()}, 3);
    ASSERT_EQ(before.deadPixels.size(), 2u);
    const Image alone = engine.compute({still.begin(), still.end()}, 3).image;
    const Image knowing = engine.compute({still.begin(), still.end()}, 3, before.deadPixels).image;
    ASSERT_FALSE(sameBits(alone, knowing));
    for (const int keeps : {1, 0}) {
        options.keep_dead_pixels = keeps;
        const OwnedBurst burst(moving, options);
        const auto imageAfter = [&](const std::vector<Image>& frames) {
            for (const Image& frame : frames) EXPECT_EQ(oravo_burst_add(burst, frame[0], 0), ORAVO_BURST_OK);
            EXPECT_EQ(oravo_burst_reconstruct(burst, 1), ORAVO_BURST_OK) << oravo_burst_error(burst);
            return burst.image();
        };
        EXPECT_TRUE(sameBits(imageAfter({}), before.image));
        EXPECT_TRUE(sameBits(imageAfter(still), keeps == 1 ? knowing : alone));
        EXPECT_TRUE(sameBits(imageAfter({}), keeps == 1 ? knowing : alone)) << "made again";
        ASSERT_EQ(oravo_burst_clear(burst), ORAVO_BURST_OK);
        EXPECT_TRUE(sameBits(imageAfter(still), alone));
    }
}

TEST(Burst, GivesTheSameBitsOnAnyNumberOfThreads) {
    const std::vector<Image> frames = movingBurst(3);
    for (const int pipeline : {ORAVO_BURST_PRECISE, ORAVO_BURST_FLOAT}) {
        oravo_burst_options options = optionsOf(pipeline);
        const OwnedBurst alone(frames, options);
        options.threads = pipeline == ORAVO_BURST_FLOAT ? 0 : 3;
        const OwnedBurst shared(frames, options);
        for (const OwnedBurst* burst : {&alone, &shared})
            ASSERT_EQ(oravo_burst_reconstruct(*burst, 3), ORAVO_BURST_OK) << oravo_burst_error(*burst);
        EXPECT_TRUE(sameBits(shared.image(), alone.image()));
    }
}

TEST(Burst, GivesWhatThePipelinesOfAWindowGiveAndPrintsNothing) {
    const struct {
        int pipeline, registration, reference;
        Image (*expected)(const std::vector<Image>&, int);
    } cases[] = {
        {ORAVO_BURST_FLOAT, ORAVO_BURST_CORNERS, 2, madeBy<vision::SrFloat<vision::SrFloatRegistration2>>},
        {ORAVO_BURST_FLOAT, ORAVO_BURST_PHASE, 1, madeBy<vision::SrFloat<vision::SrFloatRegistration1>>},
        {ORAVO_BURST_VECTOR, ORAVO_BURST_OWN_REGISTRATION, 4,
         madeBy<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>},
        {ORAVO_BURST_REFERENCE, ORAVO_BURST_PHASE, 0, madeBy<vision::SuperResolution>}};
    const std::vector<Image> frames = movingBurst(4);
    for (const auto& each : cases) {
        const Image expected = each.expected(frames, each.reference);
        oravo_burst_options options = optionsOf(each.pipeline);
        options.registration = each.registration;
        options.psf_sigma = 0.75f;
        options.tv_weight = 100.0f;
        options.iterations = 20;
        options.relative_residue = 0.003f;
        options.registration_error = 0.001f;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        const OwnedBurst burst(frames, options);
        EXPECT_EQ(oravo_burst_reconstruct(burst, each.reference), ORAVO_BURST_OK) << oravo_burst_error(burst);
        EXPECT_EQ(testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr(), "");
        EXPECT_TRUE(sameBits(burst.image(), expected)) << each.pipeline << ' ' << each.registration;
    }
}

TEST(Burst, FollowsALiveCameraAsASessionDoes) {
    const std::vector<Image> frames = movingBurst(5, 8);
    const OwnedBurst burst({}, optionsOf(ORAVO_BURST_FLOAT));
    testing::internal::CaptureStdout();
    const int session = SuperResolution_init(kWidth, kHeight);
    for (std::size_t i = 0; i < frames.size(); ++i) {
        ASSERT_EQ(oravo_burst_add(burst, frames[i][0], 0), ORAVO_BURST_OK);
        ASSERT_EQ(SuperResolution_addImage(session, frames[i][0]), 0);
        EXPECT_EQ(oravo_burst_frames(burst), static_cast<int>(std::min<std::size_t>(i + 1, 5)));
        if (i < 4) continue;
        ASSERT_EQ(oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE), ORAVO_BURST_OK);
        Image expected(2 * kHeight, 2 * kWidth);
        SuperResolution_getSuperresolutionImage(session, expected[0]);
        EXPECT_TRUE(sameBits(burst.image(), expected)) << i;
    }
    SuperResolution_release(session);
    testing::internal::GetCapturedStdout();
}

TEST(Burst, ReportsWhatTheFloatPipelineFindsOut) {
    const std::vector<Image> frames = movingBurst(4);
    const OwnedBurst burst(frames, optionsOf(ORAVO_BURST_FLOAT));
    ASSERT_EQ(oravo_burst_reconstruct(burst, 4), ORAVO_BURST_OK) << oravo_burst_error(burst);
    oravo_burst_frame info;
    ASSERT_EQ(oravo_burst_frame_info(burst, 3, &info, sizeof info), ORAVO_BURST_OK);
    EXPECT_NEAR(info.dx, 0.9, 0.05);
    EXPECT_NEAR(info.dy, -0.6, 0.05);
    EXPECT_TRUE(std::isnan(info.misfit));
    std::vector<unsigned char> mask(kPixels);
    ASSERT_EQ(oravo_burst_mask(burst, 3, mask.data(), 0), ORAVO_BURST_OK);
    EXPECT_NEAR(info.weight, static_cast<double>(std::count(mask.begin(), mask.end(), 1)) / kPixels, 1e-12);
    Image weight(2 * kHeight, 2 * kWidth);
    ASSERT_EQ(oravo_burst_weight(burst, weight[0], 0), ORAVO_BURST_OK);
    EXPECT_EQ(weight(kHeight, kWidth), 5.0f);
    EXPECT_NEAR(figureOf(burst, "resolution_gain"), 0.25 * (cv::mean(weight)[0] - 1.0) + 1.0, 1e-5);
    EXPECT_GT(figureOf(burst, "solver_seconds"), 0.0);
    Image out(2 * kHeight, 2 * kWidth);
    EXPECT_EQ(oravo_burst_deviation(burst, out[0], 0), ORAVO_BURST_UNAVAILABLE);
    EXPECT_EQ(oravo_burst_pattern(burst, out[0], 0), ORAVO_BURST_UNAVAILABLE);
    EXPECT_EQ(oravo_burst_dead_pixels(burst, mask.data(), 0), ORAVO_BURST_UNAVAILABLE);
    double figure = 0.0;
    EXPECT_EQ(oravo_burst_figure(burst, "gain_db", &figure), ORAVO_BURST_UNAVAILABLE);
}

/// An image of frames that `add` puts into a burst one by one.
template <class Add>
Image imageBy(const std::vector<Image>& frames, Add add) {
    const OwnedBurst burst({}, optionsOf(ORAVO_BURST_FLOAT));
    for (const Image& frame : frames)
        EXPECT_EQ(add(burst, frame), ORAVO_BURST_OK) << oravo_burst_error(burst);
    EXPECT_EQ(oravo_burst_reconstruct(burst, 2), ORAVO_BURST_OK) << oravo_burst_error(burst);
    return burst.image();
}

TEST(Burst, ReadsRowsAtAnyPitchAndCountsOfAnyScale) {
    std::vector<Image> frames = movingBurst(3);
    for (Image& frame : frames) {
        for (float& value : frame) value = 0.25f * std::round(4.0f * value);
    }
    const auto plain = [](oravo_burst burst, const Image& frame) {
        return oravo_burst_add(burst, frame[0], 0);
    };
    const Image expected = imageBy(frames, plain);
    constexpr std::ptrdiff_t kPitch = 4 * kWidth + 5;
    EXPECT_TRUE(
        sameBits(expected, imageBy(frames, [](oravo_burst burst, const Image& frame) {
                     std::vector<char> padded(kPitch * kHeight + 1,
                                              'x');  // odd: rows are not aligned
                     for (int y = 0; y < kHeight; ++y)
                         std::memcpy(padded.data() + 1 + y * kPitch, frame[kHeight - 1 - y], 4 * kWidth);
                     const char* last = padded.data() + 1 + (kHeight - 1) * kPitch;
                     return oravo_burst_add(burst, reinterpret_cast<const float*>(last), -kPitch);
                 })));
    EXPECT_TRUE(sameBits(expected, imageBy(frames, [](oravo_burst burst, const Image& frame) {
                             std::vector<std::uint16_t> counts;
                             for (const float value : frame)
                                 counts.push_back(static_cast<std::uint16_t>(4.0f * value + 1200.0f));
                             return oravo_burst_add_u16(burst, counts.data(), 0, 0.25, -300.0);
                         })));
    EXPECT_TRUE(sameBits(expected, imageBy(frames, [](oravo_burst burst, const Image& frame) {
                             std::vector<std::int16_t> counts;
                             for (const float value : frame)
                                 counts.push_back(static_cast<std::int16_t>(-4.0f * value));
                             return oravo_burst_add_i16(burst, counts.data(), 0, -0.25, 0.0);
                         })));
    Image wide(2 * kHeight, 2 * kWidth + 3, -1.0f);
    const OwnedBurst burst(frames, optionsOf(ORAVO_BURST_FLOAT));
    ASSERT_EQ(oravo_burst_reconstruct(burst, 2), ORAVO_BURST_OK);
    ASSERT_EQ(oravo_burst_image(burst, wide[0], 4 * wide.cols), ORAVO_BURST_OK);
    EXPECT_TRUE(sameBits(expected, Image(wide.colRange(0, 2 * kWidth).clone())));
    EXPECT_EQ(wide(0, 2 * kWidth), -1.0f);
}

TEST(Burst, LeavesOutBadPixelsAndValuesBeyondTheLimits) {
    for (const int pipeline : {ORAVO_BURST_PRECISE, ORAVO_BURST_FLOAT, ORAVO_BURST_REFERENCE}) {
        std::vector<Image> frames = movingBurst(6);
        const Image clean = OwnedBurst(frames, optionsOf(pipeline)).reconstructed();
        oravo_burst_options options = optionsOf(pipeline);
        options.highest = 100.0f;
        const OwnedBurst burst({}, options);
        std::vector<unsigned char> mask(kPixels, 0);
        mask[10 * kWidth + 20] = 7;
        ASSERT_EQ(oravo_burst_set_bad_pixels(burst, mask.data(), 0), ORAVO_BURST_OK);
        for (Image& frame : frames) {
            frame(10, 20) = 60.0f;
            frame(20, 10) = 150.0f;
            ASSERT_EQ(oravo_burst_add(burst, frame[0], 0), ORAVO_BURST_OK);
        }
        EXPECT_LT(largestDifference(burst.reconstructed(), clean), 4.0) << pipeline;
        EXPECT_GT(largestDifference(OwnedBurst(frames, optionsOf(pipeline)).reconstructed(), clean), 20.0);
    }
}

TEST(Burst, HoldsTheLatestFrames) {
    const std::vector<Image> frames = movingBurst(3, 8);
    oravo_burst_options options = optionsOf(ORAVO_BURST_PRECISE);
    options.frames = 3;
    const OwnedBurst all(frames, options), latest({frames.end() - 3, frames.end()}, options);
    EXPECT_EQ(oravo_burst_frames(all), 3);
    EXPECT_TRUE(sameBits(all.reconstructed(), latest.reconstructed()));
    ASSERT_EQ(oravo_burst_clear(all), ORAVO_BURST_OK);
    EXPECT_EQ(oravo_burst_frames(all), 0);
    EXPECT_EQ(oravo_burst_reconstruct(all, 0), ORAVO_BURST_ARGUMENT);
}

TEST(Burst, ARefusedFrameChangesNothing) {
    std::vector<Image> frames = movingBurst(3, 6);
    oravo_burst_options options = optionsOf(ORAVO_BURST_FLOAT);
    Said said;
    said.listenTo(options);
    const OwnedBurst burst({frames.begin(), frames.begin() + 5}, options);
    const Image expected = burst.reconstructed();
    std::vector<unsigned char> mask(kPixels);
    Image bad = frames[5].clone();
    bad(cv::Rect(10, 10, 12, 12)) = std::nanf("");
    EXPECT_EQ(oravo_burst_add(burst, bad[0], 0), ORAVO_BURST_FRAME);
    EXPECT_STREQ(oravo_burst_error(burst), "Too many defect pixels. No processing possible.");
    EXPECT_NE(said.text.find("1 a frame was refused: Too many defect pixels."), std::string::npos)
        << said.text;
    EXPECT_EQ(oravo_burst_mask(burst, 0, mask.data(), 0), ORAVO_BURST_OK);
    EXPECT_TRUE(sameBits(burst.image(), expected));
    EXPECT_TRUE(sameBits(burst.reconstructed(), expected));
    ASSERT_EQ(oravo_burst_add(burst, frames[5][0], 0), ORAVO_BURST_OK);
    EXPECT_TRUE(sameBits(burst.reconstructed(),
                         OwnedBurst({frames.begin() + 1, frames.end()}, options).reconstructed()));
}

TEST(Burst, SaysWhyFramesGiveNoImageAndWhatThereIsToDoubt) {
    std::vector<Image> frames = movingBurst(3);
    frames[1] = cyclicMove(frames[1], 17, 0);
    oravo_burst_options options = optionsOf(ORAVO_BURST_FLOAT);
    options.registration = ORAVO_BURST_PHASE;
    const OwnedBurst moved(frames, options);
    EXPECT_EQ(oravo_burst_reconstruct(moved, 4), ORAVO_BURST_FRAME);
    EXPECT_NE(std::string(oravo_burst_error(moved)).find("displacement: frame 1 moved by ("),
              std::string::npos)
        << oravo_burst_error(moved);
    for (const int pipeline : {ORAVO_BURST_FLOAT, ORAVO_BURST_VECTOR, ORAVO_BURST_REFERENCE}) {
        const OwnedBurst flat(std::vector<Image>(5, Image(kHeight, kWidth, 20.0f)), optionsOf(pipeline));
        EXPECT_EQ(oravo_burst_reconstruct(flat, 0), ORAVO_BURST_NO_DETAIL) << pipeline;
    }
    const OwnedBurst empty({Image(kHeight, kWidth, std::nanf(""))}, optionsOf(ORAVO_BURST_PRECISE));
    EXPECT_EQ(oravo_burst_reconstruct(empty, 0), ORAVO_BURST_FRAME);
    options = optionsOf(ORAVO_BURST_PRECISE);
    Said said;
    said.listenTo(options);
    const OwnedBurst tripod(std::vector<Image>(3, frames[0]), options);
    ASSERT_EQ(oravo_burst_reconstruct(tripod, 0), ORAVO_BURST_OK);
    ASSERT_EQ(figureOf(tripod, "warnings"), 2.0);
    char text[512];
    ASSERT_EQ(oravo_burst_warning(tripod, 0, text, sizeof text), ORAVO_BURST_OK);
    EXPECT_NE(said.text.find("1 " + std::string(text) + "\n"), std::string::npos) << said.text;
    ASSERT_EQ(oravo_burst_warning(tripod, 1, text, 15), ORAVO_BURST_OK);
    EXPECT_STREQ(text, "frames 0, 1: n");
    EXPECT_EQ(oravo_burst_warning(tripod, 2, text, sizeof text), ORAVO_BURST_ARGUMENT);
    EXPECT_NE(said.text.find("2 precise pipeline: image of 1 of 3 frames in"), std::string::npos)
        << said.text;
}

TEST(Burst, ReadsDescriptionsOfCamerasAsSessionsDo) {
    EXPECT_EQ(oravo_burst_camera_blur("c107, FOV 45"), 0.35f);
    for (const char* unknown : {"c107", "", static_cast<const char*>(nullptr)})
        EXPECT_EQ(oravo_burst_camera_blur(unknown), 0.683f);
}

TEST(Burst, EveryFigureHasAName) {
    const OwnedBurst precise(movingBurst(3), optionsOf(ORAVO_BURST_PRECISE));
    const OwnedBurst window(movingBurst(3), optionsOf(ORAVO_BURST_FLOAT));
    precise.reconstructed();
    window.reconstructed();
    int both = 0;
    for (int i = 0; oravo_burst_figure_name(i) != nullptr; ++i) {
        double value = 0.0;
        const int first = oravo_burst_figure(precise, oravo_burst_figure_name(i), &value);
        const int second = oravo_burst_figure(window, oravo_burst_figure_name(i), &value);
        EXPECT_TRUE(first == ORAVO_BURST_OK || second == ORAVO_BURST_OK) << oravo_burst_figure_name(i);
        both += first == ORAVO_BURST_OK && second == ORAVO_BURST_OK ? 1 : 0;
    }
    EXPECT_EQ(both, 5);
}

}  // namespace
}  // namespace oravo::test
