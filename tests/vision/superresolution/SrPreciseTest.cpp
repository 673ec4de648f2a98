#include "vision/superresolution/SrPrecise.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/PreciseScenes.h"

namespace oravo::test {
namespace {

using vision::SrPreciseFrame;
using vision::SrPreciseOptions;
using vision::SrPreciseResult;

const cv::Size kSize(64, 48);
constexpr int kReference = 2;
constexpr double kHalfDiagonal = 40.0;

/// Texture, a plate of 45 degrees in the middle, and its noise of 1 %.
AnalyticScene scene() {
    return AnalyticScene(kSize, 20.0).addWaves(3, 1.0).addPlate({0, 0}, {11, 8}, 25.0);
}
constexpr double kNoise = 0.08;

/// How far an estimated motion puts a frame's corners from where they are, in pixels.
double cornerError(const SrPreciseFrame& frame, const Pose& pose) {
    double squares = std::pow(frame.dx - pose.dx, 2) + std::pow(frame.dy - pose.dy, 2);
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) {
            squares += std::pow(kHalfDiagonal * (frame.linear[i][j] - pose.linear[i][j]), 2);
        }
    }
    return std::sqrt(squares);
}

bool isTranslation(const SrPreciseFrame& frame) {
    return frame.linear[0][0] == 0.0 && frame.linear[0][1] == 0.0 && frame.linear[1][0] == 0.0 &&
           frame.linear[1][1] == 0.0;
}

bool isSimilarity(const SrPreciseFrame& frame) {
    return std::abs(frame.linear[0][0] - frame.linear[1][1]) < 1e-4 &&
           std::abs(frame.linear[0][1] + frame.linear[1][0]) < 1e-4;
}

Pose sheared(double dx, double dy, double amount) {
    return {dx, dy, {{amount, 0.5 * amount}, {0.0, -amount}}};
}

/// How frames differ from the scene in level.
struct Level {
    double gain = 1.0, offset = 0.0;
};
constexpr Level kLevels[] = {{}, {1.06, 2.0}, {}, {0.95, -3.0}, {}};

/// Poses, and how well they have to be found.
struct Case {
    const char* name;
    std::vector<Pose> poses;
    double noise, corner, gain;
};

void expectMotion(const SrPreciseFrame& frame, const Pose& pose, double corner) {
    ASSERT_TRUE(frame.used);
    EXPECT_LT(cornerError(frame, pose), corner);
    EXPECT_EQ(isTranslation(frame), pose.linear[0][0] == 0.0 && pose.linear[1][0] == 0.0);
    EXPECT_EQ(isSimilarity(frame), pose.linear[0][0] == pose.linear[1][1]);
}

void expectErrors(const SrPreciseFrame& frame, double most) {
    EXPECT_GT(frame.dxError, 0.0);
    EXPECT_LT(frame.dxError, most);
    EXPECT_GT(frame.dyError, 0.0);
    EXPECT_LT(frame.dyError, most);
}

void expectTrust(const SrPreciseResult& result, double noise) {
    EXPECT_GT(result.noise, 0.6 * noise);
    EXPECT_LT(result.noise, 1.3 * noise);
    EXPECT_NEAR(result.gain, 20.0 * std::log10(result.bicubicError / result.withheldError), 1e-9);
    EXPECT_GT(result.gain, 0.0);
    EXPECT_TRUE(result.trusted);
    EXPECT_EQ(result.leaning, 0.0);
    EXPECT_LT(result.shareOnReference, 0.1);
    EXPECT_GT(result.withheldPixels, 100U);
}

}  // namespace

TEST(SrPrecise, RecoversMotionsByTheSimplestModelAndBeatsBicubic) {
    std::vector<Pose> affine = handHeld(5, 1.0, 0.003);
    affine[0] = sheared(0.8, -1.1, 0.02);
    affine[3] = Pose::similarity(0.4, 0.5, 0.8, 0.003);
    affine[4] = sheared(-0.6, 0.9, -0.015);
    const Case cases[] = {{"translations", handHeld(5), kNoise, 0.005, 9.5},
                          {"noise of 5 %", handHeld(5), 5.0 * kNoise, 0.02, 4.5},
                          {"turns to 2 degrees, zoom to 0.5 %", handHeld(5, 2.0, 0.005), kNoise, 0.02, 9.5},
                          {"affine", affine, kNoise, 0.05, 9.5}};
    double error[2] = {};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<Image> frames = burst(scene(), c.poses, c.noise);
        for (const std::size_t k : {1U, 3U})
            frames[k] = linear(frames[k], kLevels[k].gain, kLevels[k].offset);
        const SrPreciseResult result = enhance(frames, kReference);
        EXPECT_GT(gainOverBicubic(result.image, frames[kReference], scene().truth()), c.gain);
        const double mean = cv::mean(frames[kReference])[0];
        for (std::size_t k = 0; k < frames.size(); ++k) {
            SCOPED_TRACE(::testing::Message() << "frame " << k);
            const SrPreciseFrame& frame = result.frames[k];
            expectMotion(frame, c.poses[k], c.corner);
            EXPECT_NEAR(frame.gain, kLevels[k].gain, 0.15 * c.noise / result.contrast + 1e-3);
            EXPECT_NEAR(frame.offset, (kLevels[k].gain - 1.0) * mean + kLevels[k].offset, 0.1 * c.noise);
            if (static_cast<int>(k) == kReference) continue;
            expectErrors(frame, c.corner);
            if (c.noise > kNoise) error[1] += frame.dxError;
            if (&c == cases) error[0] += frame.dxError;
        }
        EXPECT_NEAR(result.contrast, cv::norm(frames[kReference] - mean) / std::sqrt(kSize.area()), 1e-3);
        expectTrust(result, c.noise);
    }
    // Standard errors follow the noise.
    EXPECT_GT(error[1], 2.0 * error[0]);
    EXPECT_LT(error[1], 8.0 * error[0]);
}

TEST(SrPrecise, LeavesOutWhatIsNoNews) {
    std::vector<Image> frames = burst(scene(), handHeld(5), kNoise);
    const SrPreciseResult plain = enhance(frames, kReference);
    EXPECT_TRUE(sameBits(enhance(frames, kReference).image, plain.image));

    // A gain or an offset changes values in their last bits, which weighing passes on some ten times larger.
    std::vector<Image> scaled = clones(frames);
    scaled[0] = linear(frames[0], 1.1, 3.0);
    scaled[3] = linear(frames[3], 0.9, -5.0);
    const SrPreciseResult other = enhance(scaled, kReference);
    EXPECT_LT(rmsDifference(other.image, plain.image, 0), 1e-4);
    EXPECT_LT(largestDifference(other.image, plain.image), 0.01 * kNoise);
    EXPECT_NEAR(other.frames[0].gain / plain.frames[0].gain, 1.1, 1e-4);
    EXPECT_NEAR(other.frames[3].gain / plain.frames[3].gain, 0.9, 1e-4);

    // Withheld pixels are picked by a frame's place in the burst; so the order moves the prior's weight, a little.
    const std::vector<Image> shuffled{frames[4], frames[1], frames[2], frames[0], frames[3]};
    const SrPreciseResult moved = enhance(shuffled, kReference);
    EXPECT_LT(rmsDifference(moved.image, plain.image, 0), 0.5 * kNoise);
    EXPECT_NEAR(moved.frames[0].dx, plain.frames[4].dx, 0.002);

    // Scenes that share nothing with this one, as well as frames of nothing.
    frames.push_back(noisy(AnalyticScene(kSize, 22.0).addWaves(99, 2.0).frame(), 5, kNoise));
    frames.push_back(Scene(9, kSize.height, kSize.width).frame(kSize.height, kSize.width));
    frames.emplace_back(kSize, 20.0f);
    frames.push_back(noisy(Image(kSize, 20.0f), 6, 1.0));
    const SrPreciseResult more = enhance(frames, kReference);
    for (std::size_t k = 5; k < frames.size(); ++k) EXPECT_FALSE(more.frames[k].used) << k;
    EXPECT_TRUE(sameBits(more.image, plain.image));

    // Part of a frame that shows something else: a cold hand before the camera.
    frames.resize(5);
    cv::Mat(frames[1], cv::Rect(40, 20, 24, 28)) = 10.0f;
    const SrPreciseResult hidden = enhance(frames, kReference);
    EXPECT_TRUE(hidden.frames[1].used);
    EXPECT_LT(hidden.frames[1].weight, plain.frames[1].weight);
    EXPECT_GT(gainOverBicubic(hidden.image, frames[kReference], scene().truth()),
              gainOverBicubic(plain.image, frames[kReference], scene().truth()) - 2.0);
}

TEST(SrPrecise, FramesOfAnotherSceneDoNotTakePart) {
    // A third of a mirrored scene fits by chance, as its levels and its coarse outlines do.
    const std::vector<Image> frames = burst(scene(), handHeld(5), kNoise);
    const auto mirrored = [&frames](std::size_t k) {
        Image out;
        cv::flip(frames[k], out, 1);
        return out;
    };
    for (const std::vector<std::size_t>& strange : {std::vector<std::size_t>{0}, {0, 4}, {0, 1, 3, 4}}) {
        SCOPED_TRACE(strange.size());
        std::vector<Image> cut = clones(frames);
        for (const std::size_t k : strange) cut[k] = mirrored(k);
        std::vector<Image> rest;
        int reference = 0;
        for (std::size_t k = 0; k < frames.size(); ++k) {
            if (std::count(strange.begin(), strange.end(), k) != 0) continue;
            if (static_cast<int>(k) == kReference) reference = static_cast<int>(rest.size());
            rest.push_back(frames[k]);
        }
        const SrPreciseResult result = enhance(cut, kReference);
        for (const std::size_t k : strange) EXPECT_FALSE(result.frames[k].used) << k;
        EXPECT_TRUE(result.deadPixels.empty());
        EXPECT_TRUE(result.pattern.empty());
        const Image truth = scene().truth();
        EXPECT_GT(gainOverBicubic(result.image, frames[kReference], truth),
                  gainOverBicubic(enhance(rest, reference).image, frames[kReference], truth) - 0.5);
    }
}

TEST(SrPrecise, WhatMovesOnItsOwnNeitherLeadsNorBreaksPixels) {
    // The plate has ten times the contrast of all else, and moves against it.
    const std::vector<Pose> poses = handHeld(5);
    std::vector<Image> frames;
    for (std::size_t k = 0; k < poses.size(); ++k) {
        const double step = static_cast<double>(k) - kReference;
        const AnalyticScene moved =
            AnalyticScene(kSize, 20.0).addWaves(3, 1.0).addPlate({1.3 * step, 0.6 * step}, {11, 8}, 25.0);
        frames.push_back(noisy(moved.frame(poses[k]), static_cast<unsigned>(k), kNoise));
    }
    const SrPreciseResult result = enhance(frames, kReference);
    for (std::size_t k = 0; k < poses.size(); ++k) {
        ASSERT_TRUE(result.frames[k].used) << k;
        EXPECT_LT(cornerError(result.frames[k], poses[k]), 0.1) << k;
    }
    EXPECT_TRUE(result.deadPixels.empty());
    EXPECT_GT(gainOverBicubic(result.image, frames[kReference], scene().truth()), 3.0);
}

TEST(SrPrecise, FallsBackToTheReferenceWhereFramesDoNotFitOneImage) {
    const std::vector<Pose> poses = handHeld(5);
    const std::vector<Image> frames = burst(scene(), poses, kNoise);
    const Image truth = scene().truth();
    // Interlaced: every second row was taken from elsewhere.
    std::vector<Image> interlaced = clones(frames);
    for (std::size_t k = 0; k < poses.size(); ++k) {
        if (static_cast<int>(k) == kReference) continue;
        const double aside = k % 2 == 0 ? 0.9 : -0.8;
        const Image later =
            noisy(scene().frame({poses[k].dx + aside, poses[k].dy}), 70 + static_cast<unsigned>(k), kNoise);
        for (int y = 1; y < kSize.height; y += 2) later.row(y).copyTo(interlaced[k].row(y));
    }
    const SrPreciseResult warped = enhance(interlaced, kReference);
    EXPECT_FALSE(warped.trusted);
    EXPECT_GT(warped.leaning, 0.9);
    EXPECT_GT(warped.shareOnReference, 0.9);
    EXPECT_GT(gainOverBicubic(warped.image, frames[kReference], truth), 0.0);

    // Frames that a recorder repeats count once.
    const SrPreciseResult repeated =
        enhance({frames[0], frames[0], frames[kReference], frames[kReference], frames[4]}, 2);
    EXPECT_TRUE(repeated.frames[1].used && repeated.frames[2].used && repeated.frames[4].used);
    EXPECT_FALSE(repeated.frames[0].used || repeated.frames[3].used);
    EXPECT_TRUE(repeated.trusted);
    const SrPreciseResult alone = enhance(std::vector<Image>(5, frames[kReference]), 1);
    EXPECT_FALSE(alone.trusted);
    EXPECT_EQ(alone.gain, 0.0);
    EXPECT_EQ(alone.shareOnReference, 1.0);
}

TEST(SrPrecise, KeepsItsPlaceAtEveryFactor) {
    const std::vector<Image> frames = burst(scene(), handHeld(5), kNoise);
    for (const int factor : {1, 3, 4}) {
        SCOPED_TRACE(factor);
        SrPreciseOptions options;
        options.factor = factor;
        const SrPreciseResult result = enhance(frames, kReference, options);
        const Image truth = scene().truth(factor);
        ASSERT_EQ(result.image.size(), kSize * factor);
        EXPECT_EQ(result.deviation.size(), result.image.size());
        EXPECT_EQ(result.weight.size(), result.image.size());
        const double error = rmsDifference(result.image, truth, 4 * factor);
        EXPECT_LT(error, (factor == 1 ? 1.1 : 0.5) *
                             rmsDifference(bicubic(frames[kReference], factor), truth, 4 * factor));
        // Half a pixel of the image to any side would be worse.
        for (const cv::Point aside : {cv::Point(1, 0), {-1, 0}, {0, 1}, {0, -1}}) {
            const cv::Rect inner(8, 8, truth.cols - 16, truth.rows - 16);
            EXPECT_LT(rmsDifference(result.image(inner), truth(inner), 0),
                      rmsDifference(result.image(inner), truth(inner + aside), 0));
        }
        EXPECT_NEAR(cv::mean(result.weight)[0], 4.5, 0.5);
    }
}

}  // namespace oravo::test
