// What sensors do to bursts, and what temperatures are worth afterwards.

#include <gtest/gtest.h>

#include <cmath>

#include "tests/PreciseScenes.h"
#include "vision/superresolution/SrPrecise.h"

namespace oravo::test {
namespace {

using vision::SrPreciseOptions;
using vision::SrPreciseResult;

const cv::Size kSize(64, 48);
constexpr int kReference = 2, kMiddle = 4;  // of five frames, and of eight
constexpr double kNoise = 0.05;

/// Plates on a level of 20: the middle one has 45 degrees.
AnalyticScene plates() {
    return AnalyticScene(kSize, 20.0)
        .addPlate({0, 0}, {11, 8}, 25.0)
        .addPlate({-20, -10}, {4, 6}, 6.0)
        .addPlate({18, 12}, {6, 5}, -5.0)
        .addPlate({20, -14}, {7, 3}, 3.0)
        .addPlate({-18, 14}, {6, 4}, 2.0);
}

AnalyticScene texture() {
    return AnalyticScene(kSize, 20.0).addWaves(3, 1.7);
}

/// The mask without the image's border.
cv::Mat_<uchar> inner(const cv::Mat_<uchar>& mask) {
    cv::Mat_<uchar> out(mask.size(), uchar{0});
    const cv::Rect inside(8, 8, mask.cols - 16, mask.rows - 16);
    mask(inside).copyTo(out(inside));
    return out;
}

double rmsWhere(const Image& difference, const cv::Mat& mask) {
    return cv::norm(difference, cv::NORM_L2, mask) / std::sqrt(cv::countNonZero(mask));
}

double correlation(const Image& a, const Image& b) {
    const Image u = linear(a, 1.0, -cv::mean(a)[0]), v = linear(b, 1.0, -cv::mean(b)[0]);
    return u.dot(v) / (cv::norm(u) * cv::norm(v));
}

std::vector<Image> added(const std::vector<Image>& frames, const Image& pattern) {
    std::vector<Image> out;
    for (const Image& frame : frames) out.emplace_back(frame + pattern);
    return out;
}

}  // namespace

TEST(SrPreciseTemperatures, FlatAreasKeepTheirValueAndStateTheirNoise) {
    const Image truth = plates().truth();
    for (const double noise : {kNoise, 4.0 * kNoise}) {
        const SrPreciseResult result = enhance(burst(plates(), handHeld(5), noise), kReference);
        const cv::Mat_<uchar> flat = inner(plates().flat());
        const cv::Mat_<uchar> plate(flat & (truth > 44.9f));
        ASSERT_GT(cv::countNonZero(flat), 1000);
        ASSERT_GT(cv::countNonZero(plate), 100);
        const Image error(result.image - truth);
        EXPECT_NEAR(cv::mean(error, plate)[0], 0.0, noise / 10.0);
        EXPECT_LT(cv::norm(error, cv::NORM_INF, plate), 2.5 * noise);
        EXPECT_NEAR(cv::mean(error, flat)[0], 0.0, noise / 10.0);  // 5 mK at noise of 50 mK
        const double actual = rmsWhere(error, flat), stated = rmsWhere(result.deviation, flat);
        EXPECT_LT(actual, 1.6 * stated);
        EXPECT_GT(actual, stated / 1.6);
        EXPECT_TRUE(result.deadPixels.empty());
        EXPECT_TRUE(result.pattern.empty());
    }
    SrPreciseOptions quick;
    quick.deviation = false;
    const SrPreciseResult result = enhance(burst(plates(), handHeld(5), kNoise), kReference, quick);
    EXPECT_TRUE(result.deviation.empty());
    EXPECT_TRUE(sameBits(result.image, enhance(burst(plates(), handHeld(5), kNoise), kReference).image));
}

TEST(SrPreciseTemperatures, SpotsOfTheSceneAreLeftAlone) {
    AnalyticScene scene = AnalyticScene(kSize, 20.0).addWaves(3, 1.0);
    std::vector<cv::Point> spots;
    for (int i = 0; i < 6; ++i) {
        // Half a pixel of the frames wide.
        scene.addPlate({-25.0 + 10.0 * i, -15.0 + (i * 13) % 31}, {0.4, 0.4}, i % 2 == 0 ? 15.0 : -15.0, 0.3);
        spots.emplace_back(static_cast<int>(63.5 + 2.0 * (-25.0 + 10.0 * i)),
                           static_cast<int>(47.5 + 2.0 * (-15.0 + (i * 13) % 31)));
    }
    const std::vector<Image> frames = burst(scene, handHeld(5), 0.02);
    const SrPreciseResult result = enhance(frames, kReference);
    EXPECT_TRUE(result.deadPixels.empty());
    const Image truth = scene.truth(), plain = bicubic(frames[kReference]);
    for (const cv::Point& spot : spots) {
        EXPECT_LT(std::abs(result.image(spot) - truth(spot)), 0.4 * std::abs(plain(spot) - truth(spot)))
            << spot;
    }
}

TEST(SrPreciseSensor, StuckPixelsAreFoundAndCostLittle) {
    for (const AnalyticScene& scene : {texture(), plates()}) {
        const Image truth = scene.truth();
        std::vector<Image> frames = burst(scene, handHeld(5), kNoise);
        const SrPreciseResult whole = enhance(frames, kReference);
        EXPECT_TRUE(whole.deadPixels.empty());
        std::vector<cv::Point> stuck;
        for (int i = 0; i < 8; ++i) {
            stuck.emplace_back(5 + 7 * i, 4 + (i * 29) % 40);
            const float value = frames[kReference](stuck.back()) + (i % 2 == 0 ? 4.0f : -4.0f);
            for (Image& frame : frames) frame(stuck.back()) = value;
        }
        const SrPreciseResult result = enhance(frames, kReference);
        EXPECT_LE(result.deadPixels.size(), stuck.size() + 3);  // a neighbour now and then
        for (const cv::Point& pixel : stuck) {
            EXPECT_EQ(std::count(result.deadPixels.begin(), result.deadPixels.end(), pixel), 1) << pixel;
        }
        const double error = rmsDifference(result.image, truth, 8);
        EXPECT_LT(error, 1.06 * rmsDifference(whole.image, truth, 8));  // 0.5 dB
        SrPreciseOptions blind;
        blind.findDeadPixels = false;
        const SrPreciseResult without = enhance(frames, kReference, blind);
        EXPECT_TRUE(without.deadPixels.empty());
        EXPECT_LT(error, rmsDifference(without.image, truth, 8));
    }
}

TEST(SrPreciseSensor, FlickeringPixelsAreListedAndCostLittle) {
    const AnalyticScene scene = texture();
    std::vector<Image> frames = burst(scene, handHeld(8), kNoise);
    const SrPreciseResult whole = enhance(frames, kMiddle);
    const std::vector<cv::Point> flickering{{9, 9}, {40, 20}, {22, 33}, {52, 38}};
    for (std::size_t i = 0; i < flickering.size(); ++i) {
        for (const std::size_t k : {std::size_t{kMiddle}, 5 + i % 3, i})
            frames[k](flickering[i]) += i % 2 == 0 ? 12.0f : -12.0f;
    }
    frames[kMiddle](30, 60) = frames[6](7, 50) = 60.0f;  // once, as a particle does
    const SrPreciseResult result = enhance(frames, kMiddle);
    EXPECT_EQ(result.deadPixels, flickering);
    EXPECT_LT(rmsDifference(result.image, scene.truth(), 8),
              1.06 * rmsDifference(whole.image, scene.truth(), 8));
}

TEST(SrPreciseSensor, FlashesThatMoveWithTheSceneStay) {
    // A point that two frames show, by different pixels of the sensor; the reference is one of them.
    AnalyticScene flashing = texture();
    flashing.addPlate({-7.5, 6.5}, {0.3, 0.3}, 40.0, 0.1);
    std::vector<Pose> poses = handHeld(8);
    poses[5] = Pose::similarity(2.0, -1.0, 0.0, 0.0);
    std::vector<Image> frames = burst(texture(), poses, kNoise);
    for (const std::size_t k : {std::size_t{kMiddle}, std::size_t{5}}) {
        frames[k] = Image(frames[k] + flashing.frame(poses[k]) - texture().frame(poses[k]));
    }
    const SrPreciseResult result = enhance(frames, kMiddle);
    EXPECT_TRUE(result.deadPixels.empty());
    EXPECT_GT(result.image(60, 48) - texture().truth()(60, 48), 8.0f);
}

TEST(SrPreciseSensor, KnownDeadPixelsStayOutUntilFramesClearThem) {
    const cv::Point spot(40, 12);
    const AnalyticScene scene = texture().addPlate({spot.x - 31.5, spot.y - 23.5}, {0.4, 0.4}, 15.0, 0.3);
    std::vector<Image> frames = burst(scene, handHeld(5), kNoise);
    std::vector<cv::Point> stuck, known{{9, 9}, {20, 30}, {33, 21}, {50, 40}};
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) known.push_back(spot + cv::Point(i, j));
    for (int i = 0; i < 6; ++i) {
        stuck.emplace_back(5 + 9 * i, 4 + (i * 29) % 40);
        const float value = frames[kReference](stuck.back()) + (i % 2 == 0 ? 4.0f : -4.0f);
        for (Image& frame : frames) frame(stuck.back()) = value;
    }
    known.insert(known.begin(), stuck.begin(), stuck.end());
    const vision::SrPrecise engine(kSize.width, kSize.height);
    const SrPreciseResult result = engine.compute(frames, kReference, known);
    const auto isListed = [](const SrPreciseResult& of, cv::Point at) {
        return std::count(of.deadPixels.begin(), of.deadPixels.end(), at);
    };
    for (std::size_t i = 0; i < known.size(); ++i)
        EXPECT_EQ(isListed(result, known[i]), i < stuck.size() ? 1 : 0) << known[i];
    const Image truth = scene.truth();
    EXPECT_LT(rmsDifference(result.image, truth, 8),
              1.05 * rmsDifference(enhance(frames, kReference).image, truth, 8));

    // What does not move clears nothing, and leaves no holes.
    const SrPreciseResult still =
        engine.compute(burst(scene, std::vector<Pose>(3), kNoise), 1, {known[1], known[0], known[1]});
    EXPECT_EQ(still.deadPixels, (std::vector<cv::Point>{stuck[0], stuck[1]}));
    EXPECT_GT(*std::min_element(still.image.begin(), still.image.end()), 1.0f);
    EXPECT_EQ(thrownBy([&] {
                  engine.compute(frames, kReference, {{64, 3}});
              }).message(),
              "Known dead pixel (64, 3) lies outside frames of 64 x 48 pixels.");
}

TEST(SrPreciseSensor, PatternsAreFoundWhereThereAreAny) {
    const Image white = noisy(Image(kSize, 0.0f), 33, 0.17),
                columns = cv::repeat(white.row(7), kSize.height, 1);
    const std::vector<Pose> poses = handHeld(8);
    const std::vector<Image> frames = burst(texture(), poses, kNoise);
    const Image truth = texture().truth();
    EXPECT_TRUE(enhance(frames, 4).pattern.empty());
    for (const Image& pattern : {white, columns}) {
        const std::vector<Image> seen = added(frames, pattern);
        const SrPreciseResult result = enhance(seen, 4);
        ASSERT_EQ(result.pattern.size(), kSize);
        EXPECT_GT(correlation(result.pattern, pattern), 0.8);
        EXPECT_GT(gainOverBicubic(result.image, seen[4], truth), 3.0);
        SrPreciseOptions blind;
        blind.findPattern = false;
        const SrPreciseResult without = enhance(seen, 4, blind);
        EXPECT_TRUE(without.pattern.empty());
        EXPECT_LT(rmsDifference(result.image, truth, 8), 0.9 * rmsDifference(without.image, truth, 8));
    }
    // On a tripod a pattern cannot be separated from the scene.
    const SrPreciseResult still =
        enhance(added(burst(texture(), std::vector<Pose>(5), kNoise), white), kReference);
    EXPECT_TRUE(still.pattern.empty());
    EXPECT_TRUE(still.deadPixels.empty());
}

}  // namespace oravo::test
