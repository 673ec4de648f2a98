#include "tools/defects/MotionSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "tests/tools/Program.h"
#include "tools/defects/DefectList.h"
#include "tools/defects/LocalSearch.h"
#include "tools/output/ImageWriter.h"
#include "tools/simulate/BurstSimulator.h"
#include "tools/simulate/Scene.h"

namespace oravo::tools {
namespace {

constexpr int kWidth = 48, kHeight = 36, kAround = 30;

/// Places of a camera that a hand holds.
std::vector<cv::Point2f> shaken(int count, double step, std::uint64_t seed) {
    cv::RNG random(seed);
    std::vector<cv::Point2f> places(1);
    const auto next = [&](float at) {
        return std::clamp(at + static_cast<float>(random.gaussian(step)), -6.0f, 6.0f);
    };
    while (places.size() < static_cast<std::size_t>(count)) {
        const float x = next(places.back().x);
        places.emplace_back(x, next(places.back().y));
    }
    return places;
}

/// Places of a camera that turns slowly.
std::vector<cv::Point2f> drifting(int count, float step) {
    std::vector<cv::Point2f> places;
    for (int i = 0; i < count; ++i)
        places.emplace_back(step * static_cast<float>(i), 0.6f * step * static_cast<float>(i));
    return places;
}

/// Frames of the rendered scene with points that are hot by themselves, and of a sensor with bad pixels: stuck ones, with
/// values that the scene has elsewhere, and ones that jump from time to time.
struct Recording {
    static constexpr int kStuck = 12, kRestless = 4;

    std::vector<cv::Mat_<float>> frames;
    std::vector<cv::Point> stuck, restless;

    Recording(const std::vector<cv::Point2f>& places, std::uint64_t seed) {
        cv::RNG random(seed);
        // One after the other: compilers evaluate arguments in different orders.
        const auto pointIn = [&random](cv::Size size) {
            const int x = random.uniform(0, size.width);
            return cv::Point(x, random.uniform(0, size.height));
        };
        SimulationParameters p;
        p.frameSize = {kWidth, kHeight};
        p.shifts = places;
        p.noise = 0.1;
        p.scene = renderScene(p.frameSize * 2, kAround);
        for (int i = 0; i < 5; ++i) {
            const cv::Point hot = pointIn({2 * kWidth - 32, 2 * kHeight - 32}) + cv::Point(kAround, kAround);
            p.scene(cv::Rect(hot + cv::Point(16, 16), cv::Size(2, 2))).setTo(120.0f);
        }
        frames = simulateBurst(p).frames;
        for (int i = 0; i < kStuck + kRestless; ++i) {
            const cv::Point at = pointIn(frames[0].size());
            const float value = frames[0](pointIn(frames[0].size()));
            (i < kStuck ? stuck : restless).push_back(at);
            for (cv::Mat_<float>& frame : frames) {
                if (i < kStuck) frame(at) = value;
                if (i >= kStuck && random.uniform(0, 3) == 0) frame(at) += 40.0f;
            }
        }
    }
    FrameSequence sequence() const {
        return {frames.size(), [this](std::size_t i) { return frames[i].clone(); }};
    }
};

int hits(const std::vector<cv::Point>& found, const std::vector<cv::Point>& planted) {
    return static_cast<int>(std::count_if(planted.begin(), planted.end(), [&](cv::Point p) {
        return std::find(found.begin(), found.end(), p) != found.end();
    }));
}

TEST(MotionSearch, FindsPixelsThatDoNotFollowTheSceneAndNoHotPointThatDoes) {
    const Recording recording(shaken(18, 0.5, 5), 5);
    const MotionFindings found = findByMotion(recording.sequence());
    EXPECT_EQ(found.moving, 2);
    EXPECT_GT(found.movement, 0.3);
    const int stuck = hits(found.pixels, recording.stuck), restless = hits(found.pixels, recording.restless);
    EXPECT_GE(stuck, 11);
    EXPECT_GE(restless, 2);
    EXPECT_LE(static_cast<int>(found.pixels.size()) - stuck - restless, 1);
}

/// Twelve frames in a row show no movement, but those of a longer time do.
TEST(MotionSearch, LooksFartherApartWhereTheSceneMovesSlowly) {
    const Recording slow(drifting(24, 0.055f), 7);
    const MotionFindings found = findByMotion(slow.sequence());
    EXPECT_EQ(found.moving, 1);
    EXPECT_EQ(found.windows, 1);
    EXPECT_GT(found.movement, 0.3);
    EXPECT_GE(hits(found.pixels, slow.stuck), 6);
    EXPECT_EQ(findByMotion(Recording(drifting(5, 0.05f), 7).sequence()).moving, 0);
}

TEST(LocalSearch, FindsWhatStandsOutOrJumpsWhileNothingMoves) {
    const Recording still(drifting(12, 0.0f), 2);
    const std::vector<cv::Point> found = findByNeighbours(still.sequence());
    EXPECT_EQ(hits(found, still.restless), 4);
    EXPECT_GE(hits(found, still.stuck), 2);
    EXPECT_LE(found.size(), 50u);
}

TEST_F(Program, DetectsDefectsByMotionAndSaysWhereItCannot) {
    Recording recording(shaken(8, 0.6, 9), 9);
    const cv::Point lost(20, 30);
    std::filesystem::create_directory(path("r"));
    for (std::size_t i = 0; i < recording.frames.size(); ++i) {
        recording.frames[i](lost) = std::numeric_limits<float>::quiet_NaN();
        writeImage(path("r/frame_" + std::to_string(i) + ".tif"), recording.frames[i]);
        writeImage(path("s_" + std::to_string(i) + ".tif"),
                   recording.frames[0] + 0.001 * static_cast<double>(i));
    }
    const Outcome moving = run("defects detect r -o l.csv");
    ASSERT_EQ(moving.code, 0) << moving.err;
    EXPECT_NE(moving.err.find("1 pixels out of range or without a value"), std::string::npos) << moving.err;
    const cv::Mat_<uchar> listed = readDefectList(path("l.csv")).mask();
    EXPECT_EQ(listed(lost), 255);
    EXPECT_GE(std::count_if(recording.stuck.begin(), recording.stuck.end(),
                            [&](cv::Point p) { return listed(p) != 0; }),
              11);

    ASSERT_EQ(run("defects repair l.csv r -o fixed/").code, 0);
    const cv::Mat_<float> fixed = image("fixed/frame_000000.tif");
    EXPECT_TRUE(std::isfinite(fixed(lost)));

    const Outcome still = run("defects detect s_*.tif -o l.csv");
    EXPECT_EQ(still.code, 0) << still.err;
    EXPECT_NE(still.err.find("warning: the scene does not move over the sensor"), std::string::npos)
        << still.err;
    EXPECT_EQ(run("defects detect s_*.tif -o n.csv --search motion").code, 2);
    EXPECT_EQ(run("defects detect s_1.tif -o n.csv --search motion").code, 2);
    EXPECT_EQ(run("defects detect s_1.tif -o n.csv").code, 0);
}

}  // namespace
}  // namespace oravo::tools
