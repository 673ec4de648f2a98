#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tests/tools/Program.h"
#include "tools/enhance/StreamGuard.h"
#include "tools/measure/FrameMeasures.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/simulate/BurstSimulator.h"
#include "vision/superresolution/detail/choice/SubpixelShift.h"

namespace oravo::tools {
namespace {

using Verdict = StreamGuard::Verdict;

Burst burstOf(const std::vector<cv::Point2f>& shifts, double noise, cv::Size size = {160, 120}) {
    SimulationParameters p;
    p.frameSize = size;
    p.shifts = shifts;
    p.noise = noise;
    return simulateBurst(p);
}

bool says(const std::string& text, const std::string& what) {
    return text.find(what) != std::string::npos;
}

TEST(FrameMeasures, NoiseIsFoundUnderTheScene) {
    for (const double noise : {0.2, 0.5, 1.5, 5.0}) {
        EXPECT_NEAR(noiseOf(burstOf({{0, 0}}, noise).frames[0]), noise, 0.04 + 0.03 * noise) << noise;
    }
    EXPECT_LT(noiseOf(burstOf({{0, 0}}, 0.0).frames[0]), 0.05);
}

TEST(FrameMeasures, MisfitTellsRightShiftsFromWrongOnes) {
    for (const double noise : {0.0, 0.5, 2.0}) {
        for (const cv::Point2f shift : {cv::Point2f(0.5f, -0.5f), {3.3f, 1.7f}, {-6.0f, 10.4f}}) {
            const Burst burst = burstOf({{0, 0}, shift}, noise);
            const FrameDetail reference(burst.frames[0]), frame(burst.frames[1]);
            const auto found = [&](cv::Point2f d) { return misfit(reference, frame, d); };
            EXPECT_LT(found(shift), 0.04) << noise << shift;
            EXPECT_GT(found(shift + cv::Point2f(2, 1)), 0.2) << noise << shift;
            EXPECT_GT(found(shift - cv::Point2f(9, 0)), 0.5) << noise << shift;
        }
    }
    const FrameDetail flat(cv::Mat_<float>(20, 30, 4.0f));
    EXPECT_EQ(misfit(flat, flat, {1, 1}), 0.0);
    for (const float nowhere : {40.0f, -30.0f, 1e30f, std::nanf(""), -INFINITY}) {  // no overlap
        EXPECT_EQ(misfit(flat, flat, {nowhere, 0}), 1.0) << nowhere;
        EXPECT_EQ(misfit(flat, flat, {0, nowhere}), 1.0) << nowhere;
    }
}

TEST(StreamGuard, TellsJumpsAndRepetitionsFromMotion) {
    const Burst burst = burstOf({{0, 0}, {0.3f, 0.2f}, {4.6f, -3.1f}, {-3, 13}, {0, 0}}, 0.2);
    StreamGuard guard;
    for (const cv::Mat_<float>& frame : burst.frames) {
        EXPECT_EQ(guard.look(frame).verdict, Verdict::use);
        EXPECT_EQ(guard.look(frame).verdict, Verdict::repeated);
    }
    const double contrast = contrastOf(burst.frames[0]);
    for (const auto& [step, expected] :
         {std::pair(0.02, Verdict::use), {0.06, Verdict::restart}, {-0.06, Verdict::restart}}) {
        StreamGuard fresh;
        fresh.look(burst.frames[0]);
        cv::Mat_<float> lifted;
        cv::add(burst.frames[1], step * contrast, lifted);
        EXPECT_EQ(fresh.look(lifted).verdict, expected) << step;
    }
    StreamGuard shutter;
    shutter.look(burst.frames[0]);
    cv::Mat_<float> faint;
    cv::multiply(burst.frames[1], 0.3, faint);
    EXPECT_EQ(shutter.look(faint).verdict, Verdict::restart);
    EXPECT_EQ(shutter.look(burst.frames[2]).verdict, Verdict::resume);
    EXPECT_EQ(shutter.look(faint).verdict, Verdict::restart);
    cv::Mat_<float> lifted;
    cv::add(burst.frames[0], contrast, lifted);
    EXPECT_EQ(shutter.look(lifted).verdict, Verdict::restart);  // neither like these nor like those
    for (int i = 1; i < StreamGuard::kInterruption; ++i) {
        cv::add(burst.frames[i % 2 == 0 ? 0 : 1], contrast, lifted);
        EXPECT_EQ(shutter.look(lifted).verdict, Verdict::use);
    }
    EXPECT_EQ(shutter.look(burst.frames[0]).verdict, Verdict::restart);  // those are too long ago
}

/// A frame is judged by its contrast, whatever its unit; in single precision squares of large values end at 1e38.
TEST(StreamGuard, JudgesValuesOfAnySize) {
    const Burst burst = burstOf({{0, 0}, {4.6f, -3.1f}}, 0.2);
    const double contrast = contrastOf(burst.frames[0]);
    for (const double scale : {1e-3, 1.0, 1e8, 1e10, 1e20, 1e30, 1e35}) {
        const auto scaled = [&](double step) {
            cv::Mat_<float> frame;
            burst.frames[1].convertTo(frame, CV_32F, scale, step * contrast * scale);
            return frame;
        };
        cv::Mat_<float> first;
        burst.frames[0].convertTo(first, CV_32F, scale);
        for (const auto& [step, expected] :
             {std::pair(0.0, Verdict::use), {0.03, Verdict::use}, {0.06, Verdict::restart}}) {
            StreamGuard guard;
            guard.look(first);
            EXPECT_EQ(guard.look(scaled(step)).verdict, expected) << scale << ' ' << step;
        }
        EXPECT_LT(misfit(FrameDetail(first), FrameDetail(scaled(0.0)), {4.6f, -3.1f}), 0.04) << scale;
        EXPECT_LT(cv::norm(displacementBetween(first, scaled(0.0)) - cv::Point2d(4.6, -3.1)), 0.3) << scale;
        EXPECT_EQ(enlargedBefore(first), "") << scale;
    }
    EXPECT_NEAR(levelStep(cv::Mat_<float>(3, 4, 1e10f), cv::Mat_<float>(3, 4, 3e10f), 0.0), 2e10, 1e4);
}

TEST(StreamGuard, KnowsEnlargedFrames) {
    for (const double noise : {0.0, 1.0}) {
        const Burst burst = burstOf({{0, 0}}, noise);
        EXPECT_EQ(enlargedBefore(burst.frames[0]), "");
        EXPECT_EQ(enlargedBefore(burst.truth), "");
        for (const int kind : {cv::INTER_NEAREST, cv::INTER_LINEAR, cv::INTER_CUBIC, cv::INTER_LANCZOS4}) {
            cv::Mat_<float> enlarged;
            cv::resize(burst.frames[0], enlarged, {}, 2.0, 2.0, kind);
            EXPECT_TRUE(says(enlargedBefore(enlarged), kind == cv::INTER_NEAREST
                                                           ? "blocks of 2 x 2"
                                                           : "neither detail nor noise finer"))
                << kind;
        }
    }
    EXPECT_EQ(enlargedBefore(cv::Mat_<float>(64, 64, 1.0f)), "");
    // A soft camera leaves as little detail, but its sensor's noise; rounding is no noise.
    SimulationParameters soft;
    soft.shifts = {{0, 0}};
    soft.psfSigma = 2.2f;
    for (const auto& [noise, rounded, enlarged] :
         {std::tuple(0.05, 0.0, false), {0.15, 0.01, false}, {0.0, 0.0, true}, {0.0, 0.05, true}}) {
        soft.noise = noise;
        cv::Mat_<float> frame = simulateBurst(soft).frames[0];
        for (float& value : frame) {
            if (rounded > 0.0)
                value = static_cast<float>(rounded * std::round(static_cast<double>(value) / rounded));
        }
        EXPECT_LT(fineDetail(frame), -17.0);
        EXPECT_EQ(says(enlargedBefore(frame), "neither detail nor noise"), enlarged)
            << noise << ' ' << rounded;
    }
}

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

/// Noise leads shifts astray by tenths of a pixel, and neither makes a tripod of a hand nor a hand of a tripod.
TEST(StreamGuard, PhasesAreFoundUnderNoise) {
    const std::vector<cv::Point2f> still{{0, 0}, {0, 0}, {1, -2}, {0.03f, -0.02f}};
    const std::vector<cv::Point2f> moving{{0, 0}, {0.3f, 0.1f}, {-0.2f, 0.2f}, {0.1f, -0.3f}};
    for (const double noise : {0.05, 1.0, 4.0}) {
        for (const std::vector<cv::Point2f>& shifts : {still, moving}) {
            const Burst burst = burstOf(shifts, noise, {96, 72});
            std::vector<cv::Point2f> astray = shifts;
            for (std::size_t i = 1; i < astray.size(); ++i) astray[i] += cv::Point2f(0.3f, -0.4f);
            EXPECT_EQ(samePhase(burst.frames, astray, 0), shifts == still) << noise;
            const auto found = vision::detail::SubpixelShift::of(burst.frames[0], burst.frames[3], astray[3]);
            ASSERT_TRUE(found);
            EXPECT_NEAR(found->remainder.y, static_cast<double>(shifts[3].y), 0.1 + 4.0 * found->error.y)
                << noise;
            EXPECT_LT(found->error.y, 0.02 + 0.02 * noise);
        }
    }
    const cv::Mat_<float> flat(72, 96, 3.0f);
    EXPECT_FALSE(vision::detail::SubpixelShift::of(flat, flat, {}));
    EXPECT_FALSE(vision::detail::SubpixelShift::of(flat, flat, {200.0f, std::nanf("")}));
}

/// Whether a step matters depends on the noise of faint scenes, not on their contrast alone.
TEST(StreamGuard, StepsBelowTheNoiseAreNoShutter) {
    const Burst burst = burstOf({{0, 0}, {0.3f, 0.2f}}, 0.0);
    cv::RNG random(5);
    const auto faint = [&](int frame, double step) {
        cv::Mat_<float> values;
        burst.frames[static_cast<std::size_t>(frame)].convertTo(values, CV_32F, 0.02,
                                                                step);  // 0.2 K of contrast
        for (float& value : values) value += static_cast<float>(random.gaussian(0.05));
        return values;
    };
    for (const auto& [step, expected] :
         {std::pair(0.02, Verdict::use), {-0.02, Verdict::use}, {0.06, Verdict::restart}}) {
        StreamGuard guard;
        guard.look(faint(0, 0.0));
        EXPECT_EQ(guard.look(faint(1, step)).verdict, expected) << step;
    }
}

TEST(StreamGuard, PhasesAreComparedModuloOnePixel) {
    EXPECT_TRUE(samePhase({{0, 0}, {1.05f, -2.02f}, {-0.96f, 0.04f}}));
    EXPECT_FALSE(samePhase({{0, 0}, {1.05f, -2.02f}, {0, 0.5f}}));
    EXPECT_FALSE(samePhase({{0, 0}, {0.15f, 0}}));
    EXPECT_TRUE(vision::detail::mayBeInPhase({{0, 0}, {1.3f, -2.3f}}));
    EXPECT_FALSE(vision::detail::mayBeInPhase({{0, 0}, {1.3f, -2.45f}}));
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

/// Frames that show one set of places of the scene are said to have a gain of resolution by no count.
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
