#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "tests/tools/Scratch.h"
#include "tools/commands/ResultFiles.h"
#include "tools/measure/Agreement.h"
#include "tools/measure/Metrics.h"
#include "tools/measure/SensorModel.h"
#include "tools/pictures/ColourScale.h"
#include "tools/pictures/Drawing.h"
#include "tools/pictures/Preview.h"
#include "tools/pictures/Ticks.h"
#include "tools/simulate/BurstSimulator.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::tools {
namespace {

/// Multiples of 1, 2 or 5 times a power of ten, evenly spaced, in the range, enough of them, distinguished by text.
TEST(Ticks, AreRoundOnEveryScale) {
    for (const double span : {1e-5, 0.013, 0.7, 1.0, 9.99, 34.0, 77.7, 5274.0, 65535.0}) {
        for (const double lowest : {-273.15, -0.4 * span, 0.0, 21.37}) {
            for (const int most : {3, 6, 12}) {
                const Ticks ticks(lowest, lowest + span, most);
                const std::vector<double>& v = ticks.values;
                ASSERT_LE(v.size(), static_cast<std::size_t>(most));
                if (span < 2e-6 * std::abs(lowest)) continue;  // within a digit or two of a float
                ASSERT_GE(v.size(), most > 3 ? 2u : 1u) << lowest << ' ' << span;
                for (std::size_t i = 0; i < v.size(); ++i) {
                    EXPECT_GE(v[i], lowest - 1e-9 * span);
                    EXPECT_LE(v[i], lowest + span + 1e-9 * span);
                    EXPECT_NEAR(std::stod(ticks.text(v[i])), v[i], 1e-9 * std::max(1.0, std::abs(v[i])));
                    if (i == 0) continue;
                    const double step = v[i] - v[i - 1];
                    const double leading = step / std::pow(10.0, std::floor(std::log10(step) + 1e-6));
                    const double nearest = leading < 1.5 ? 1.0 : leading < 3.5 ? 2.0 : 5.0;
                    EXPECT_NEAR(leading, nearest, 1e-6) << lowest << ' ' << span;
                }
            }
        }
    }
    EXPECT_EQ(Ticks(-1.0, 1.0, 5).text(-0.01), "0.0");
    EXPECT_EQ(Ticks(20.0, 20.0, 5).text(20.0), "20.00");
    EXPECT_EQ(Ticks(0.0, std::numeric_limits<double>::infinity(), 5).values.size(), 1u);
}

TEST(ColourScale, OrdersValuesByBrightnessAndShowsWhatHasNone) {
    for (const char* name : {"iron", "grey", "grey-inverted", "inferno"}) {
        cv::Mat_<cv::Vec3b> colours = paletteNamed(name);
        cv::Mat_<uchar> brightness;
        cv::cvtColor(colours, brightness, cv::COLOR_BGR2GRAY);
        if (brightness(0) > brightness(255)) cv::flip(brightness, brightness, 0);
        for (int i = 1; i < 256; ++i) EXPECT_GE(brightness(i), brightness(i - 1)) << name << i;
    }
    cv::Mat_<float> image = (cv::Mat_<float>(1, 5) << 10, 20, 30, 0, 0);
    image(3) = std::numeric_limits<float>::quiet_NaN();
    image(4) = floatOf(vision::CODE_BAD_PIXEL);
    const ColourScale all = ColourScale::of(image, paletteNamed("grey"));
    EXPECT_EQ(all.lowest, 10.0);
    EXPECT_EQ(all.highest, 30.0);
    EXPECT_FALSE(all.clipsBelow || all.clipsAbove);
    const cv::Mat_<cv::Vec3b> view = all.colours(image);
    EXPECT_EQ(view(0), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(view(2), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(view(3), view(4));
    EXPECT_NE(view(3)[0], view(3)[2]);  // no grey among greys
    const ColourScale part = ColourScale::within(12.0, 40.0, image, paletteNamed("grey"));
    EXPECT_TRUE(part.clipsBelow);
    EXPECT_FALSE(part.clipsAbove);
    EXPECT_EQ(ColourScale::of(cv::Mat_<float>(2, 2, image(3)), paletteNamed("iron")).highest, 1.0);

    cv::Mat_<float> ramp(100, 100);
    for (int i = 0; i < 10000; ++i) ramp(i) = static_cast<float>(i % 100);
    ramp(7) = 140.0f;  // hot, but not out of all proportion
    ramp(8) = -900.0f;
    const ColourScale usual = ColourScale::withoutOutliers(ramp, paletteNamed("iron"));
    EXPECT_EQ(usual.lowest, 0.0);
    EXPECT_EQ(usual.highest, 140.0);
    EXPECT_TRUE(usual.clipsBelow && !usual.clipsAbove);
    EXPECT_EQ(ColourScale::withoutOutliers(cv::Mat_<float>(9, 9, 4.0f), paletteNamed("iron")).highest, 4.0);
}

TEST(Preview, FindsSpotsAndDrawsAnySize) {
    cv::Mat_<float> image(30, 40, 20.0f);
    image(3, 5) = 31.25f;
    image(29, 39) = -4.0f;
    image(1, 1) = floatOf(vision::CODE_OVER_RANGE);
    const std::optional<Spots> spots = Spots::of(image);
    ASSERT_TRUE(spots.has_value());
    EXPECT_EQ(spots->hottest.at, cv::Point(5, 3));
    EXPECT_EQ(spots->coldest.at, cv::Point(39, 29));
    const ColourScale scale = ColourScale::of(image, paletteNamed("iron"));
    EXPECT_EQ(valueText(spots->hottest.value, scale, "K"), "31.2 K");
    EXPECT_FALSE(Spots::of(cv::Mat_<float>(2, 2, std::nanf(""))).has_value());
    // The colour of the pixel without a value is explained below all that is there without one.
    const Preview preview{scale, "", "", true};
    const cv::Mat with = preview.draw(image), without = preview.draw(repaired(image));
    ASSERT_GT(with.rows, without.rows);
    cv::Mat marked;
    cv::inRange(with.rowRange(without.rows, with.rows), scale.noValue(), scale.noValue(), marked);
    EXPECT_GT(cv::countNonZero(marked), 20);
    for (const cv::Size size : {cv::Size(1, 1), cv::Size(3, 900), cv::Size(2000, 2), cv::Size(320, 240)}) {
        const cv::Mat_<float> other(size, 7.0f);
        const cv::Mat picture =
            Preview{ColourScale::of(other, paletteNamed("iron")), "\u00b0C", "caption", true}.draw(other);
        EXPECT_GE(picture.cols, size.width);
        EXPECT_GE(drawCoverage(cv::Mat_<uchar>(size, uchar{3}), 5).rows, size.height);
    }
    EXPECT_EQ(parseRange("-5:1e2"), std::pair(-5.0, 100.0));
    for (const char* wrong : {"", "5", "5:5", "6:5", "1:x", "nan:1", "0:inf", "1:2:3"}) {
        EXPECT_NE(complaint([&] { parseRange(wrong); }, ExitCode::kUsage), "") << wrong;
    }
}

/// Where the text stands in a picture of one colour, to the pixel; (-1, -1) where it does not.
cv::Point placeOf(const std::string& text, const cv::Mat& picture, const Lettering& lettering,
                  const cv::Scalar& ground) {
    const cv::Size size = textSize(text, lettering);
    cv::Mat canvas(size.height + 60, size.width + 60, CV_8UC3, ground);
    drawText(canvas, text, {30, 30 + size.height}, lettering);
    cv::Mat distances;
    cv::matchTemplate(picture, canvas(cv::Rect(cv::Point(30, 30), size)), distances, cv::TM_SQDIFF_NORMED);
    double least = 1.0;
    cv::Point place;
    cv::minMaxLoc(distances, &least, nullptr, &place);
    return least < 1e-4 ? place : cv::Point(-1, -1);
}

TEST(Preview, NamesTheHottestAndTheColdestWhereTheyAre) {
    constexpr float kAround = 20.0f;
    for (const bool swapped : {false, true}) {
        cv::Mat_<float> image(240, 320, kAround);
        const cv::Point hot = swapped ? cv::Point(250, 60) : cv::Point(70, 180);
        const cv::Point cold = swapped ? cv::Point(70, 180) : cv::Point(250, 60);
        image(hot) = 87.5f;
        image(cold) = -31.5f;
        const ColourScale scale = ColourScale::of(image, paletteNamed("iron"));
        const cv::Mat picture = Preview{scale, "", "", true}.draw(image);
        const cv::Vec3b around = scale.colours(cv::Mat_<float>(1, 1, kAround))(0);
        const Lettering mark{0.5, {255, 255, 255}, true}, line{0.5, kInk, false};
        for (const auto& [text, spot] : {std::pair("87.5", hot), {"-31.5", cold}}) {
            const cv::Point found = placeOf(text, picture, mark, cv::Scalar(around[0], around[1], around[2]));
            ASSERT_GE(found.x, 0) << text;
            EXPECT_LT(cv::norm(found - 2 * spot), 80) << text << found;
        }
        const auto said = [](const char* name, const char* value, cv::Point at) {
            return std::string(name) + " " + value + " at (" + std::to_string(at.x) + ", " +
                   std::to_string(at.y) + ")";
        };
        const cv::Point hottest = placeOf(said("hottest", "87.5", hot), picture, line, kPaper);
        const cv::Point coldest = placeOf(said("coldest", "-31.5", cold), picture, line, kPaper);
        EXPECT_GT(hottest.y, 480);
        EXPECT_EQ(coldest.y, hottest.y);
        EXPECT_GT(coldest.x, hottest.x);
    }
}

/// Frames as the solver's model sees a scene, which is taken for the image; cyclic, so that frames can move.
AlignedFrames framesOf(const cv::Mat_<float>& scene, const std::vector<cv::Point2f>& shifts, float psfSigma,
                       double noise) {
    const cv::Size size = scene.size() / 2;
    SensorModel model(size, psfSigma);
    cv::RNG random(7);
    AlignedFrames window{{}, shifts, {}};
    for (const cv::Point2f& shift : shifts) {
        const cv::Point whole = SensorModel::wholePixels(shift);
        cv::Mat_<float> seen;
        const int before = SensorModel::kMarginBefore + 2 * 8, after = SensorModel::kMarginAfter + 2 * 8;
        cv::copyMakeBorder(scene, seen, before, after, before, after, cv::BORDER_REFLECT_101);
        const cv::Size extended = scene.size() + cv::Size(SensorModel::kTaps - 1, SensorModel::kTaps - 1);
        const cv::Rect part(cv::Point(16, 16) - 2 * whole, extended);
        cv::Mat_<float> frame = model.frame(seen(part).clone(), shift - cv::Point2f(whole)), added(size);
        random.fill(added, cv::RNG::NORMAL, 0.0, noise);
        frame += added;
        window.frames.push_back(frame);
        window.masks.emplace_back(size, uchar{1});
    }
    return window;
}

/// Frames of a known scene with known noise, and the scene itself as the image: the map must show the noise.
TEST(Agreement, NoiseMapShowsTheNoiseOfTheFrames) {
    SimulationParameters p;
    p.shifts = {{0.0f, 0.0f}};
    const Burst burst = simulateBurst(p);
    for (const double noise : {0.05, 1.0}) {
        AlignedFrames window =
            framesOf(burst.truth, {{0.3f, -1.4f}, {0.0f, 0.0f}, {-0.5f, 0.25f}, {2.2f, 0.5f}, {-0.4f, -0.3f}},
                     p.psfSigma, noise);
        // A frame that differs, and one without a value, which must not count.
        window.frames[2](cv::Rect(20, 20, 8, 8)) += 50.0f;
        window.masks[2](cv::Rect(0, 0, 60, 60)) = uchar{0};
        window.frames[4](80, 90) = floatOf(vision::CODE_BAD_PIXEL);
        const cv::Mat_<float> map = noiseMapOf(window, burst.truth, p.psfSigma);
        ASSERT_EQ(map.size(), burst.truth.size());
        const cv::Mat_<float> inner = map(cv::Rect(20, 20, 280, 200));
        EXPECT_NEAR(cv::mean(inner)[0], noise, 0.03 * noise);
        double lowest = 0.0;
        double highest = 0.0;
        cv::minMaxLoc(inner, &lowest, &highest);
        // 25 pixels of at least 3 degrees of freedom each: the deviation's own is 1 / sqrt(150) of it, or less.
        EXPECT_GT(lowest, (1.0 - 5.5 / std::sqrt(150.0)) * noise);
        EXPECT_LT(highest, (1.0 + 5.5 / std::sqrt(150.0)) * noise);
        EXPECT_EQ(coverageOf(window.masks)(119, 119), 4);
        EXPECT_EQ(coverageOf(window.masks)(120, 120), 5);
        EXPECT_DOUBLE_EQ(validShare(window.masks[2]), 1.0 - 3600.0 / 19200.0);
        for (cv::Mat_<uchar>& mask : window.masks) mask(cv::Rect(100, 0, 20, 20)) = uchar{0};
        EXPECT_TRUE(std::isnan(noiseMapOf(window, burst.truth, p.psfSigma)(20, 220)));
    }
}

}  // namespace
}  // namespace oravo::tools
