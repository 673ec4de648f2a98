// Input of every kind: a clear error, or an image that is no worse than the reference frame enlarged.

#include <gtest/gtest.h>

#include <cmath>
#include <future>
#include <limits>

#include "support/FloatBits.h"
#include "tests/PreciseScenes.h"
#include "vision/superresolution/SrPrecise.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::test {
namespace {

using vision::SrPrecise;
using vision::SrPreciseOptions;
using vision::SrPreciseResult;
using Frames = std::vector<Image>;

const cv::Size kSize(48, 36);
constexpr int kReference = 2;
constexpr double kNoise = 0.05;
const float kNan = std::nanf(""), kInfinity = std::numeric_limits<float>::infinity();

AnalyticScene scene(cv::Size size = kSize) {
    return AnalyticScene(size, 20.0)
        .addWaves(3, 1.0)
        .addPlate({3, 2}, {7, 5}, 6.0)
        .addPlate({-12, -8}, {4, 4}, -4.0);
}
Frames goodFrames() {
    return burst(scene(), handHeld(5), kNoise);
}

bool isCode(float value) {
    return bitsOf(value) >= 0x81 && bitsOf(value) <= 0x85;
}

std::string refusal(const Frames& frames, int reference,
                    const SrPreciseOptions& options = SrPreciseOptions()) {
    return thrownBy([&] { SrPrecise(kSize.width, kSize.height, options).compute(frames, reference); })
        .message();
}

/// Runs, and checks what holds for every result: no NaN, deviation and weight where there is a value, and near the truth
/// at least as much as bicubic interpolation of the reference.
SrPreciseResult checked(const Frames& frames, int reference, const AnalyticScene& shown,
                        double allowance = 1.0) {
    SrPreciseResult result = enhance(frames, reference);
    const Image truth = shown.truth();
    double error = 0.0, bicubicError = 0.0;
    Image base = frames[static_cast<std::size_t>(reference)].clone();
    const double mean = cv::mean(base, (base > 1.0f) & (base < 1000.0f))[0];
    for (float& value : base) value = value > 1.0f && value < 1000.0f ? value : static_cast<float>(mean);
    const Image enlarged = bicubic(base);
    for (int y = 0; y < truth.rows; ++y) {
        for (int x = 0; x < truth.cols; ++x) {
            EXPECT_FALSE(std::isnan(result.image(y, x)));
            EXPECT_EQ(std::isnan(result.deviation(y, x)), isCode(result.image(y, x)));
            EXPECT_TRUE(result.weight(y, x) >= 0.0f &&
                        result.weight(y, x) < 1.5f * static_cast<float>(frames.size()));
            if (isCode(result.image(y, x))) continue;
            error += std::pow(result.image(y, x) - truth(y, x), 2);
            bicubicError += std::pow(enlarged(y, x) - truth(y, x), 2);
        }
    }
    EXPECT_LE(error, allowance * bicubicError);
    return result;
}

}  // namespace

TEST(SrPreciseInput, WrongArgumentsAreNamed) {
    const Frames frames = goodFrames();
    SrPreciseOptions o;
    EXPECT_EQ(thrownBy([] { SrPrecise(7, 40); }).message(),
              "Frames of 7 x 40 pixels: each side has to be at least 8.");
    EXPECT_EQ(thrownBy([] { SrPrecise(32768, 32768); }).message(),
              "An image of 65536 x 65536 pixels is too large.");
    o.factor = 5;
    EXPECT_EQ(refusal(frames, 0, o), "Factor 5 is not from 1 to 4.");
    o = SrPreciseOptions();
    o.psfSigma = 0.2f;
    EXPECT_EQ(refusal(frames, 0, o), "Blur of 0.2 pixels is not from 0.3 to 2.");
    o.factor = 4;
    o.psfSigma = 1.1f;
    EXPECT_EQ(refusal(frames, 0, o), "Blur of 1.1 pixels is not from 0.15 to 1.");
    o.factor = 2;
    o.psfSigma = kNan;
    EXPECT_EQ(refusal(frames, 0, o), "Blur of nan pixels is not from 0.3 to 2.");
    o.psfSigma = 0.0f;
    o.psfBox = 1.0f;
    EXPECT_EQ(refusal(frames, 0, o), "Blur of 0.288675 pixels is not from 0.3 to 2.");
    o.threads = 65;
    EXPECT_EQ(refusal(frames, 0, o), "Number of threads 65 is not from 0 to 64.");
    o.threads = 1;
    o.psfBox = 2.5f;
    EXPECT_EQ(refusal(frames, 0, o), "Pixel side of 2.5 is not from 0 to 2.");
    o = SrPreciseOptions();
    o.lowest = 30.0f;
    o.highest = 30.0f;
    EXPECT_EQ(refusal(frames, 0, o), "Lowest value 30 is not below the highest, 30.");
    o = SrPreciseOptions();
    o.smoothness = -1.0;
    EXPECT_EQ(refusal(frames, 0, o), "Smoothness -1 is not a number from 0 on.");
    EXPECT_EQ(refusal({}, 0), "0 frames: 1 to 64 make an image.");
    EXPECT_EQ(refusal(Frames(65, frames[0]), 0), "65 frames: 1 to 64 make an image.");
    EXPECT_EQ(refusal(frames, 5), "Reference frame 5 is not one of 5 frames.");
    EXPECT_EQ(refusal(frames, -1), "Reference frame -1 is not one of 5 frames.");
    EXPECT_EQ(refusal({frames[0], Image(36, 47, 20.0f)}, 0), "Frame 1 is 47 x 36 pixels, not 48 x 36.");
    EXPECT_EQ(refusal({frames[0], Image(kSize, kNan)}, 1),
              "The reference frame has no value in [-274, 5000].");
}

TEST(SrPreciseInput, FramesWithoutNewsLeaveTheReference) {
    Frames frames = goodFrames();
    const SrPreciseResult one = checked({frames[kReference]}, 0, scene());
    EXPECT_EQ(one.frames.size(), 1U);
    EXPECT_EQ(one.withheldPixels, 0U);
    EXPECT_EQ(one.withheldError, 0.0);

    const SrPreciseResult constant = enhance(Frames(3, Image(kSize, 21.5f)), 1);
    EXPECT_LT(largestDifference(constant.image, Image(kSize * 2, 21.5f)), 1e-5);
    EXPECT_LT(cv::norm(constant.deviation, cv::NORM_INF), 1e-3);

    Frames strange{frames[kReference], Image(kSize, 20.0f), Image(kSize, kNan)};
    for (unsigned i = 0; i < 5; ++i) strange.push_back(Scene(40 + i, 36, 48).frame(36, 48));
    const SrPreciseResult alone = checked(strange, 0, scene());
    EXPECT_TRUE(sameBits(alone.image, one.image));
    for (std::size_t k = 1; k < strange.size(); ++k) EXPECT_FALSE(alone.frames[k].used) << k;

    std::vector<Pose> poses = handHeld(5);
    poses[0].dx = 60.0;
    poses[1].dy = -33.0;
    const SrPreciseResult beyond = checked(burst(scene(), poses, kNoise), kReference, scene());
    EXPECT_FALSE(beyond.frames[0].used);
    EXPECT_FALSE(beyond.frames[1].used);
    EXPECT_TRUE(beyond.frames[3].used && beyond.frames[4].used);
}

TEST(SrPreciseInput, DefectsOfAllKindsAreLeftOut) {
    Frames frames = goodFrames();
    const SrPreciseResult whole = checked(frames, kReference, scene(), 0.5);
    // One frame without any value is as good as none.
    Frames holes = clones(frames);
    holes[4] = Image(kSize, floatOf(vision::CODE_BAD_PIXEL));
    const SrPreciseResult four = checked(holes, kReference, scene(), 0.5);
    EXPECT_FALSE(four.frames[4].used);
    EXPECT_TRUE(
        sameBits(four.image, enhance({frames[0], frames[1], frames[2], frames[3]}, kReference).image));

    Frames wild = clones(frames);
    const float values[] = {1e30f,   -1e30f, kNan, kInfinity, -kInfinity, floatOf(vision::CODE_OVER_RANGE),
                            5000.5f, -280.0f};
    for (int i = 0; i < 40; ++i)
        wild[static_cast<std::size_t>(i % 5)]((7 * i) % 36, (11 * i) % 48) = values[i % 8];
    const SrPreciseResult cured = checked(wild, kReference, scene(), 0.5);
    EXPECT_LT(rmsDifference(cured.image, whole.image, 4), 0.1);
    EXPECT_EQ(cv::countNonZero(cv::abs(cured.image) < 1.0f), 0);

    // What no frame has seen has the reference's code.
    Frames framed = clones(frames);
    for (Image& frame : framed) {
        frame.rowRange(0, 4) = floatOf(vision::CODE_OVER_RANGE);
        frame.rowRange(32, 36) = floatOf(vision::CODE_UNDER_RANGE);
        frame.colRange(0, 4) = kNan;
        frame.colRange(44, 46) = 6000.0f;
        frame.colRange(46, 48) = -300.0f;
    }
    const SrPreciseResult border = checked(framed, kReference, scene(), 0.6);
    EXPECT_EQ(bitsOf(border.image(0, 40)), vision::CODE_OVER_RANGE);
    EXPECT_EQ(bitsOf(border.image(71, 40)), vision::CODE_UNDER_RANGE);
    EXPECT_EQ(bitsOf(border.image(30, 0)), vision::CODE_INVALID);
    EXPECT_EQ(bitsOf(border.image(30, 91)), vision::CODE_OVER_RANGE);
    EXPECT_EQ(bitsOf(border.image(30, 95)), vision::CODE_UNDER_RANGE);
    for (int y = 8; y < 64; ++y) {
        for (int x = 8; x < 88; ++x) ASSERT_FALSE(isCode(border.image(y, x))) << x << ' ' << y;
    }
    // A hole of the reference that others fill.
    Frames torn = clones(frames);
    cv::Mat(torn[kReference], cv::Rect(12, 10, 8, 8)) = kNan;
    const SrPreciseResult filled = checked(torn, kReference, scene(), 0.6);
    const cv::Rect hole(26, 22, 12, 12);
    EXPECT_LT(rmsDifference(filled.image(hole), scene().truth()(hole), 0), 0.5);
}

TEST(SrPreciseInput, SizesFromTheSmallestOnWork) {
    for (const cv::Size size : {cv::Size(8, 8), {9, 13}, {31, 9}, {17, 23}}) {
        SCOPED_TRACE(::testing::Message() << size);
        const SrPreciseResult result =
            checked(burst(scene(size), handHeld(5), kNoise), kReference, scene(size));
        EXPECT_EQ(result.image.size(), size * 2);
    }
    const cv::Size size(24, 20);
    const Frames many = burst(scene(size), handHeld(64), 0.3);
    const SrPreciseResult result = checked(many, 32, scene(size), 0.4);
    EXPECT_EQ(result.frames.size(), 64U);
    EXPECT_LT(cv::mean(result.deviation)[0], 0.15);
}

TEST(SrPreciseInput, PaddedRowsAndProgressChangeNothing) {
    const Frames frames = goodFrames();
    const SrPreciseResult plain = enhance(frames, kReference);
    Frames padded;
    for (const Image& frame : frames) {
        const Image wide(kSize.height + 2, kSize.width + 5, kNan);
        padded.emplace_back(wide(cv::Rect(cv::Point(3, 1), kSize)));
        frame.copyTo(padded.back());
    }
    SrPreciseOptions options;
    std::vector<double> shares;
    options.progress = [&shares](double share) {
        shares.push_back(share);
        return true;
    };
    EXPECT_TRUE(sameBits(enhance(padded, kReference, options).image, plain.image));
    EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
    ASSERT_GE(shares.size(), 4U);
    EXPECT_GT(shares.front(), 0.0);
    EXPECT_EQ(shares.back(), 1.0);
    for (std::size_t calls = 1; calls <= shares.size(); calls += 1 + shares.size() / 8) {
        std::size_t left = calls;
        options.progress = [&left](double) { return --left > 0; };
        EXPECT_EQ(refusal(frames, kReference, options), "Cancelled");
    }
    EXPECT_TRUE(sameBits(enhance(frames, kReference).image, plain.image));
    // Nor do runs on other threads, of other objects or of the same.
    const SrPrecise engine(kSize.width, kSize.height);
    const auto run = [&] { return engine.compute(frames, kReference).image; };
    std::future<Image> first = std::async(std::launch::async, run),
                       second = std::async(std::launch::async, run);
    EXPECT_TRUE(sameBits(first.get(), plain.image));
    EXPECT_TRUE(sameBits(second.get(), plain.image));
}

}  // namespace oravo::test
