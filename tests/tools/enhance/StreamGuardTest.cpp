#include "tools/enhance/StreamGuard.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tests/tools/Scratch.h"
#include "tools/measure/FrameMeasures.h"
#include "tools/simulate/BurstSimulator.h"
#include "vision/superresolution/detail/choice/Doubts.h"
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

}  // namespace
}  // namespace oravo::tools
