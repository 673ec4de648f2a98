#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tests/tools/Program.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/simulate/BurstSimulator.h"

namespace oravo::tools {
namespace {

TEST_F(Program, AClosedShutterDoesNotHideThatFramesWereEnlarged) {
    ASSERT_EQ(run("simulate -o b --frames 6 --width 64 --height 48").code, 0);
    for (int i = 0; i < 6; ++i) {
        const std::string name = path("b/frame_00" + std::to_string(i) + ".tif");
        cv::Mat_<float> frame(96, 128, 20.0f);
        if (i > 0) cv::resize(image(name), frame, {}, 2.0, 2.0, cv::INTER_NEAREST);
        writeImage(name, frame);
    }
    const std::string err = run("enhance --pipeline float b -o o.tif").err;
    const std::size_t first = err.find("enlarged by repetition before?");
    EXPECT_NE(first, std::string::npos) << err;
    EXPECT_EQ(err.find("enlarged by repetition before?", first + 1), std::string::npos) << err;
}

TEST_F(Program, SkipsRepeatedFrames) {
    ASSERT_EQ(run("simulate -o b --frames 6 --width 64 --height 48").code, 0);
    std::string doubled;
    for (const char* i : {"0", "1", "1", "1", "2", "3", "4", "5", "5"}) {
        doubled += std::string(" b/frame_00") + i + ".tif";
    }
    ASSERT_EQ(run("enhance --pipeline float b -o plain/ --every").code, 0);
    const Outcome outcome = run("enhance --pipeline float" + doubled + " -o guarded/ --every");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_TRUE(
        says(outcome.err, "warning: frame 2 (b/frame_001.tif) repeats the frame before it; such frames"))
        << outcome.err;
    EXPECT_TRUE(says(outcome.err,
                     "2 images of 128 x 96 pixels, none for frames 4 to 5, 8, 3 repeated frames skipped\n"))
        << outcome.err;
    EXPECT_EQ(cv::norm(image("guarded/frame_000006.tif"), image("plain/frame_000004.tif")), 0.0);
    EXPECT_EQ(cv::norm(image("guarded/frame_000007.tif"), image("plain/frame_000005.tif")), 0.0);
    EXPECT_TRUE(says(run("enhance --pipeline float" + doubled + " -o o.tif --no-guard").err,
                     "o.tif: 1 image of 128 x 96 pixels\n"));
}

TEST_F(Program, WindowsDoNotReachAcrossAJump) {
    ASSERT_EQ(run("simulate -o b --frames 12").code, 0);
    std::string first, last;
    for (int i = 0; i < 12; ++i) {
        const std::string name = (i < 10 ? "b/frame_00" : "b/frame_0") + std::to_string(i) + ".tif";
        (i < 8 ? first : last) += " " + name;
        cv::Mat_<float> lifted;
        cv::add(image(name), i < 8 ? 0.0 : 2.0, lifted);
        writeImage(path(name), lifted);
    }
    ASSERT_EQ(run("enhance --pipeline float" + first + " -o expected.tif").code, 0);
    const Outcome outcome = run("enhance --pipeline float b -o o.tif --shifts s.csv");
    EXPECT_EQ(outcome.code, 0);
    EXPECT_TRUE(says(outcome.err, "frame 8 (b/frame_008.tif) lies 1.9")) << outcome.err;
    EXPECT_TRUE(says(outcome.err, " above the frame before it")) << outcome.err;
    const Outcome back = run("enhance --pipeline float" + last + first + " -o back.tif");
    EXPECT_TRUE(says(back.err, "frame 4 (b/frame_000.tif) lies 1.9")) << back.err;
    EXPECT_TRUE(says(back.err, " below the frame before it")) << back.err;
    EXPECT_TRUE(says(outcome.err, "\nframes 3 to 7: gain 1.9")) << outcome.err;
    EXPECT_EQ(cv::norm(image("o.tif"), image("expected.tif")), 0.0);
    EXPECT_TRUE(says(text(path("s.csv")), "reference is frame 4\nframe,dx,dy\n3,"));
    EXPECT_TRUE(says(run("enhance --pipeline float b -o o.tif --every").err,
                     ": 4 images of 320 x 240 pixels, none for frames 8 to 11"));
}

TEST_F(Program, DriftBeyondMeasureStillGivesAnImage) {
    ASSERT_EQ(run("simulate -o b --width 96 --height 72").code, 0);
    for (int i = 0; i < 5; ++i) {
        const std::string name = "b/frame_00" + std::to_string(i) + ".tif";
        cv::Mat_<float> lifted;
        cv::add(image(name), 0.5 * i, lifted);
        writeImage(path(name), lifted);
    }
    const Outcome outcome = run("enhance --pipeline float b -o o.tif");
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_TRUE(says(outcome.err, "no five frames in a row belong together; the last ones are taken"))
        << outcome.err;
    EXPECT_EQ(run("enhance --pipeline float b -o new/ --every").code, 4);
    EXPECT_EQ(run("enhance --pipeline float b -o new/ --every --no-guard").code, 0);
}

TEST_F(Program, LeavesOutFramesThatInterruptARecording) {
    ASSERT_EQ(run("simulate -o b --frames 8 --width 96 --height 72").code, 0);
    std::string others;
    for (int i = 0; i < 8; ++i) {
        const std::string name = "b/frame_00" + std::to_string(i) + ".tif";
        cv::Mat_<float> static_(72, 96);
        cv::theRNG().fill(static_, cv::RNG::NORMAL, 20.0, i == 4 ? 0.05 : 7.0);
        if (i == 4 || i == 6) {
            writeImage(path(name), static_);  // a closed shutter; a disturbed transmission
        } else {
            others += " " + name;
        }
    }
    ASSERT_EQ(run("enhance --pipeline float" + others + " -o expected.tif").code, 0);
    const Outcome outcome = run("enhance --pipeline float b -o o.tif");
    EXPECT_TRUE(says(outcome.err, "frame 5 (b/frame_005.tif) is like those before the jump")) << outcome.err;
    EXPECT_TRUE(says(outcome.err, "left out\nframes 1 to 3, 5, 7: gain 1.9")) << outcome.err;
    EXPECT_EQ(cv::norm(image("o.tif"), image("expected.tif")), 0.0);
}

TEST_F(Program, FramesThatDoNotFitAreLeftOut) {
    ASSERT_EQ(run("simulate -o b --frames 7 --width 96 --height 72 --max-shift 0.9").code, 0);
    const cv::Mat_<float> original = image("b/frame_004.tif");
    cv::Mat_<float> turned;
    cv::flip(original, turned, 1);
    writeImage(path("b/frame_004.tif"), turned);
    const Outcome outcome = run("enhance --pipeline float b -o o.tif --shifts s.csv");
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_TRUE(says(outcome.err, "warning: frame 4 ")) << outcome.err;
    EXPECT_TRUE(says(outcome.err, "; left out\nframes 1 to 3, 5 to 6: gain 1.9")) << outcome.err;
    EXPECT_TRUE(says(text(path("s.csv")), "reference is frame 3\n"));
    const cv::Mat_<float> plain = bicubic(image("b/frame_003.tif"), {192, 144});
    EXPECT_LT(compareWithTruth(image("o.tif"), image("b/truth.tif"), 3).rmse,
              0.8 * compareWithTruth(plain, image("b/truth.tif"), 3).rmse);
    for (const char* later : {"b/frame_003.tif", "b/frame_005.tif", "b/frame_006.tif"}) {
        cv::flip(image(later), turned, 1);
        writeImage(path(later), turned);
    }
    const Outcome cut = run("enhance --pipeline float b -o o.tif");
    EXPECT_TRUE(says(cut.err, "; left out\nframes 3 to 6: gain 1.7")) << cut.err;
}

TEST_F(Program, NoisyFramesAreSmoothedSoThatTheImageIsBetterThanBicubic) {
    for (const char* noise : {"1.5", "6"}) {
        std::filesystem::remove_all(path("b"));
        ASSERT_EQ(run(std::string("simulate -o b --width 112 --height 84 --noise ") + noise).code, 0);
        const cv::Mat_<float> truth = image("b/truth.tif");
        const auto rmse = [&](const cv::Mat_<float>& result) {
            return compareWithTruth(result, truth, 3).rmse;
        };
        const Outcome outcome = run("enhance --pipeline float b -o o.tif");
        EXPECT_TRUE(says(outcome.err, "% of the contrast; TV weight ")) << outcome.err;
        EXPECT_LT(rmse(image("o.tif")), 0.75 * rmse(bicubic(image("b/frame_001.tif"), truth.size())))
            << noise;
    }
    EXPECT_TRUE(says(run("enhance --pipeline float b -o o.tif --tv-weight 400").err,
                     "% of the contrast; a TV weight near "));
    const Outcome off = run("enhance --pipeline float b -o off.tif --no-guard");
    EXPECT_FALSE(says(off.err, "warning")) << off.err;
    EXPECT_EQ(cv::norm(image("o.tif"), image("off.tif")), 0.0);
}

/// No figure credits frames that all sample the same places of the scene with a gain of resolution.
TEST_F(Program, SaysThatATripodGainsLittle) {
    const struct {
        const char* shifts;
        bool tripod, gain;
    } kCases[] = {{"0,0;0,0;1,0;0.03,-1;-1,2", true, false},
                  {"0.2,-0.1;0,0;-0.15,0.2;0,0;0.1,0.2", false, false},
                  {"0.2,-0.1;0,0;-0.45,0.2;0,0;0.1,0.2", false, true}};
    for (const auto& c : kCases) {
        std::filesystem::remove_all(path("b"));
        ASSERT_EQ(
            run(std::string("simulate -o b --width 112 --height 84 --noise 0.1 --shifts '") + c.shifts + "'")
                .code,
            0);
        const std::string err = run("enhance --pipeline float b -o o.tif").err;
        EXPECT_EQ(says(err, "the frames lie whole pixels apart (a tripod?)"), c.tripod) << err;
        EXPECT_EQ(says(err, ": gain "), c.gain) << err;
    }
    ASSERT_EQ(
        run("simulate -o c --width 48 --height 36 --noise 0.02 --shifts '0,0;0.3,0.2;0,0.3;0.2,0;0.15,0.3'")
            .code,
        0);
    EXPECT_TRUE(says(run("enhance c -o o.tif").err,
                     "warning: frame 4: the frames hardly move, by less than a quarter of "
                     "a pixel: a fixed pattern of the sensor would pass for detail"));
}

/// What stays with the sensor, by its kind and how strong it is at least; what moves with the scene is no pattern.
TEST_F(Program, NamesFixedPatterns) {
    const struct {
        const char* shifts;
        cv::Size pattern;  // of which one value each is drawn; empty: none
        std::string said;
    } kCases[] = {{"0,0;0.6,0.3;-0.7,0.8;1.3,-0.4;0.4,-0.9", {}, ""},
                  {"0,0;0.6,0.3;-0.7,0.8;1.3,-0.4;0.4,-0.9", {160, 1}, "has fixed columns of "},
                  {"0,0;0.6,0.3;-0.7,0.8;1.3,-0.4;0.4,-0.9", {1, 120}, "has fixed rows of "},
                  {"0,0;0.6,0.3;-0.7,0.8;1.3,-0.4;0.4,-0.9", {160, 120}, "has a fixed pattern of pixels of "},
                  {"0,0;0,0;0,0;0,0;0,0", {160, 1}, ""}};
    for (const auto& c : kCases) {
        std::filesystem::remove_all(path("b"));
        ASSERT_EQ(run(std::string("simulate -o b --shifts '") + c.shifts + "'").code, 0);
        cv::Mat_<float> pattern(120, 160, 0.0f);
        if (!c.pattern.empty()) {
            cv::Mat_<float> drawn(c.pattern);
            cv::RNG(9).fill(drawn, cv::RNG::NORMAL, 0.0, 0.8);
            cv::repeat(drawn, 120 / drawn.rows, 160 / drawn.cols, pattern);
        }
        for (int i = 0; i < 5; ++i) {
            const std::string name = "b/frame_00" + std::to_string(i) + ".tif";
            writeImage(path(name), image(name) + pattern);
        }
        const std::string err = run("enhance --pipeline float b -o o.tif").err;
        EXPECT_EQ(says(err, "warning: the sensor has"), !c.said.empty()) << err;
        EXPECT_TRUE(says(err, c.said)) << err;
        if (c.said.empty()) continue;
        EXPECT_TRUE(says(err, "as does --fixed-pattern with the file of pattern learn")) << err;
        const double strength = std::strtod(err.c_str() + err.find(c.said) + c.said.size(), nullptr);
        EXPECT_GT(strength, 0.8 / 6.0);
        EXPECT_LT(strength, 0.8);
    }
}

TEST_F(Program, RecordedBurstsRaiseNoAlarm) {
    const char* folder = std::getenv("ORAVO_TEST_DATA");
    if (folder == nullptr) GTEST_SKIP() << "ORAVO_TEST_DATA names no folder of recordings";
    for (const char* name : {"rendered_pipes", "mwir_embankment", "mwir_fields", "lwir_buildings"}) {
        const Outcome outcome =
            run(std::string("enhance --pipeline float ") + folder + "/bursts/" + name + " -o o.tif --every");
        EXPECT_EQ(outcome.code, 0) << name;
        // The sensor of the first recordings reads out by columns that differ.
        const bool columns = says(name, "mwir") && says(outcome.err, "warning: the sensor has fixed columns");
        const std::size_t last = outcome.err.rfind("warning: ");
        EXPECT_EQ(last, columns ? outcome.err.find("warning: ") : std::string::npos) << name << '\n'
                                                                                     << outcome.err;
    }
}

}  // namespace
}  // namespace oravo::tools
