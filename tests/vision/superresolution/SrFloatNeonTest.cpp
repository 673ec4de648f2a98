/// The vector family against the float family.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "tests/TestScenes.h"
#include "tests/plain/PlainOperators.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/pipeline/RunAssessment.h"

namespace oravo::test {
namespace {

const std::vector<Point> kShifts = {{0, 0}, {0.4f, 0.1f}, {-2.3f, 0.5f}, {0.2f, -1.4f}, {0.5f, 0.5f}};
constexpr int kFrames = 5;

/// Floats without room behind them: memory checkers see every access beyond the last one.
struct Exact {
    std::unique_ptr<float[]> data;
    explicit Exact(const std::vector<float>& values) : data(new float[values.size()]) {
        std::copy(values.begin(), values.end(), data.get());
    }
    explicit Exact(int n, unsigned seed) : Exact(randomVector(n, seed)) {}
};

struct FloatMasks {
    std::vector<std::vector<float>> values;
    std::vector<float*> pointers;
    FloatMasks(int n, int pixels, float value) : values(static_cast<std::size_t>(n)) {
        for (auto& mask : values) {
            mask.assign(static_cast<std::size_t>(pixels), value);
            pointers.push_back(mask.data());
        }
    }
};

TEST(SrFloatNeonConvolution, agreesWithThePlainTwinForAnySize) {
    for (const float f : {1.0f, 2.0f, 2.5f, 3.0f}) {
        for (const auto& [taps, rows] : {std::pair(1, 8), {2, 7}, {5, 4}, {6, 6}, {2, 4}, {8, 2}, {6, 3}}) {
            for (int width = 1; width <= 23; ++width) {
                const plain::SparseOperators twin{width, 24 - width, taps, rows, f};
                SCOPED_TRACE(::testing::Message()
                             << width << " wide, " << taps << " x " << rows << " taps, factor " << f);
                vision::SrFloatNeonConvolution fast(twin.W, twin.H, twin.kw, twin.kh, f);
                const int low = twin.lowWidth() * twin.lowHeight();
                const int extended = twin.extendedWidth() * twin.extendedHeight();
                const Exact h(twin.kw, 1), v(twin.kh, 2), samples(low, 3), image(extended, 4);
                const Exact out(extended, 5), sampled(low, 6);
                std::vector<float> masks(static_cast<std::size_t>(low)), weighted(masks),
                    expected(extended + 0U);
                for (std::size_t i = 0; i < masks.size(); ++i) {
                    masks[i] = std::vector<float>{0.0f, 0.5f, 1.0f, -1.0f, 1.0f}[i % 5];
                    weighted[i] = masks[i] * samples.data[i];
                }
                const std::vector<char> ones(masks.size(), 1);
                fast.fullConvFromSparse(samples.data.get(), h.data.get(), v.data.get(),
                                        Exact(masks).data.get(), out.data.get());
                twin.fullConvFromSparse(weighted.data(), h.data.get(), v.data.get(), ones.data(),
                                        expected.data());
                // The same products in the same order per pixel; only the sign of a zero may differ.
                for (int i = 0; i < extended; ++i) {
                    ASSERT_EQ(out.data[static_cast<std::size_t>(i)], expected[static_cast<std::size_t>(i)])
                        << i;
                }
                fast.validCorrToSparse(image.data.get(), h.data.get(), v.data.get(), sampled.data.get());
                twin.validCorrToSparse(image.data.get(), h.data.get(), v.data.get(), expected.data());
                for (int i = 0; i < low; ++i) {
                    ASSERT_EQ(sampled.data[static_cast<std::size_t>(i)],
                              expected[static_cast<std::size_t>(i)])
                        << i;
                }
            }
        }
    }
    EXPECT_EQ(thrownBy([] { vision::SrFloatNeonConvolution(8, 8, 0, 6, 2.0f); }).message(),
              "Invalid kernel size 0 x 6 specified.");
}

TEST(SrFloatNeonMinimization, agreesWithTheFloatSolver) {
    for (const cv::Size size : {cv::Size(3, 9), {16, 9}, {17, 8}, {18, 7}, {19, 12}}) {
        for (const float f : {2.0f, 3.0f}) {
            SCOPED_TRACE(::testing::Message() << size << " factor " << f);
            std::vector<Image> frames;
            for (unsigned k = 0; k < kFrames; ++k)
                frames.push_back(randomImage(size.height, size.width, k, 10, 30));
            std::vector<Image> copies = clones(frames);
            std::vector<Point> shifts = kShifts;
            for (Point& shift : shifts) shift = {shift.x / 5, shift.y / 5};
            Masks bytes(kFrames, size.area());
            FloatMasks masks(kFrames, size.area(), 1.0f);
            for (std::size_t i = 0; i < bytes.bytes[1].size(); i += 3)
                masks.values[1][i] = bytes.bytes[1][i] = 0;
            const int scale = static_cast<int>(f);
            Image a(scale * size.height, scale * size.width), b(a.size());
            vision::SrFloatMinimization solver(size.width, size.height, kFrames, f);
            vision::SrFloatNeonMinimization vector(size.width, size.height, kFrames, f);
            EXPECT_EQ(solver.minimize(kFrames, 1, pointers(frames).data(), shifts.data(),
                                      bytes.pointers.data(), a.ptr<float>()),
                      vector.minimize(kFrames, 1, pointers(copies).data(), shifts.data(),
                                      masks.pointers.data(), b.ptr<float>()));
            // The order of double sums may turn the last bit of alpha and beta in each of 8 steps; a step
            // passes on a few times that, for values within 50 of the mean.
            EXPECT_LE(largestDifference(a, b), 65 * std::ldexp(50.0, -23));
        }
    }
    EXPECT_NE(thrownBy([] { vision::SrFloatNeonMinimization(4, 4, 2, 2.0f).minimize(3, 0, {}, {}, {}, {}); })
                  .location()
                  .find("oravo::vision::SrFloatNeonMinimization::minimize(..)\n"),
              std::string::npos);
}

TEST(SrFloatNeonMinimization, keepsToItsIterations) {
    const cv::Size size(24, 18);
    const auto solved = [&](auto solver, auto& masks, int iterations) {
        std::vector<Image> frames;
        for (unsigned k = 0; k < 2; ++k) frames.push_back(randomImage(size.height, size.width, k, 10, 30));
        const Point shifts[] = {{0, 0}, {0.4f, -0.2f}};
        Image image(size * 2);
        solver.setMaxIter(iterations);
        solver.setRelRes(1e-9f);
        EXPECT_EQ(
            solver.minimize(2, 0, pointers(frames).data(), shifts, masks.pointers.data(), image.ptr<float>()),
            iterations);
        return image;
    };
    Masks bytes(2, size.area());
    FloatMasks masks(2, size.area(), 1.0f);
    std::vector<Image> images;
    for (const int iterations : {0, 1, 3, 12}) {
        images.push_back(
            solved(vision::SrFloatNeonMinimization(size.width, size.height, 2, 2.0f), masks, iterations));
        const Image twin =
            solved(vision::SrFloatMinimization(size.width, size.height, 2, 2.0f), bytes, iterations);
        EXPECT_LE(largestDifference(images.back(), twin), 97 * std::ldexp(50.0, -23)) << iterations;
    }
    for (std::size_t i = 1; i < images.size(); ++i)
        EXPECT_GT(largestDifference(images[i], images[i - 1]), 0.01);
}

/// One registration of a burst with masks of either type.
template <class Registration, class MaskStack>
struct Registered {
    std::vector<Point> shifts, complete;
    std::vector<Image> moved;
    Registered(const std::vector<Image>& burst, MaskStack& masks, Registration registration)
        : shifts(kFrames), moved(clones(burst)) {
        std::vector<Image> frames = clones(burst);
        for (const Image& frame : frames) registration.prepareFrame(frame.ptr<float>());
        EXPECT_EQ(registration.doRegistration(kFrames, 2, pointers(frames).data(), shifts.data(),
                                              masks.pointers.data(), pointers(moved).data()),
                  0);
        registration.getCompleteShifts(complete);
    }
};

TEST(SrFloatNeonRegistration, isTheFloatRegistrationWithFloatMasks) {
    const std::vector<Image> frames = burst(Scene(3, 50, 61), 50, 61, kShifts);
    Masks bytes(kFrames, 50 * 61, 7);
    FloatMasks masks(kFrames, 50 * 61, 7.0f);
    const Registered a(frames, bytes, vision::SrFloatRegistration2(61, 50, kFrames));
    const Registered b(frames, masks, vision::SrFloatNeonRegistration(61, 50, kFrames));
    EXPECT_EQ(a.shifts, b.shifts);
    EXPECT_EQ(a.complete, b.complete);
    for (std::size_t k = 0; k < kFrames; ++k) {
        EXPECT_TRUE(sameBits(a.moved[k], b.moved[k]));
        EXPECT_TRUE(std::equal(bytes.bytes[k].begin(), bytes.bytes[k].end(), masks.values[k].begin()));
    }
    const oravo::Exception thrown = thrownBy([] {
        const Scene scene(3, 16, 100);
        FloatMasks small(kFrames, 16 * 100, 0.0f);
        Registered(burst(scene, 16, 100, {{0, 0}, {0, 0}, {0, 0}, {0, 0}, {9, 0}}), small,
                   vision::SrFloatNeonRegistration(100, 16, kFrames));
    });
    EXPECT_STREQ(thrown.what(),
                 "Too large displacement\nvision/superresolution/SrFloatNeonRegistration: 175: "
                 "oravo::vision::SrFloatNeonRegistration::doRegistration(..)\n");
}

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

/// Runs anew into a region of a larger image.
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

TEST(SrFloatNeon, givesWhatTheFloatPipelineGivesAndSaysNothing) {
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

TEST(SrFloatNeon, hasTheStatusesOfTheFloatPipeline) {
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

TEST(SrFloatNeon, repairsNothing) {
    std::vector<Image> frames = window({60, 50}, kShifts);
    for (Image& frame : frames) reinterpret_cast<std::uint32_t&>(frame(20, 30)) = vision::CODE_BAD_PIXEL;
    double repaired = 0, coded = 0;
    cv::minMaxLoc(PipelineRun<FloatPipeline>(frames).image, &repaired);
    cv::minMaxLoc(PipelineRun<VectorPipeline>(frames).image, &coded);
    EXPECT_GT(repaired, 5.0);
    EXPECT_LT(coded, 3.0);  // the code's bits are a number next to 0
    frames[2] = Image(50, 60, std::nanf(""));
    EXPECT_LT(PipelineRun<VectorPipeline>(frames).result, 1.8f);  // nothing to track, or nothing valid
}

TEST(SrFloatNeon, oneInfinitePixelSpoilsTheObject) {
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

TEST(SrFloatNeon, exportsTheFirstQuarterOfItsMasks) {
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

TEST(SrFloatNeon, settersRejectAndKeepWhatWasThere) {
    struct Case {
        void (VectorPipeline::*set)(float);
        float (VectorPipeline::*get)() const;
        float initial, bad;
        const char* text;
    };
    const char* weight = "Invalid total-variation term weight specified.";
    const std::vector<Case> cases = {
        {&VectorPipeline::setPsfSigma, &VectorPipeline::getPsfSigma, 0.683f, 0.0f,
         "Invalid standard deviation of the sensor psf specified."},
        {&VectorPipeline::setRegError, &VectorPipeline::getRegError, 0.0001f, 1.0001f,
         "Invalid maximum registration error specified."},
        {&VectorPipeline::setRelativeResidue, &VectorPipeline::getRelativeResidue, 0.007f, 1e-7f, weight},
        {&VectorPipeline::setWeightTV, &VectorPipeline::getWeightTV, 400.0f, 0.5f, weight}};
    VectorPipeline pipeline(5, 4, 3, 1.5f);
    const auto rejected = [](const auto& call) -> std::string {
        try {
            call();
        } catch (const char* text) {
            return text;
        }
        return "";
    };
    for (const Case& c : cases) {
        EXPECT_EQ((pipeline.*c.get)(), c.initial);
        EXPECT_EQ(rejected([&] { (pipeline.*c.set)(c.bad); }), c.text);
        EXPECT_EQ((pipeline.*c.get)(), c.initial);
        EXPECT_EQ(rejected([&] { (pipeline.*c.set)(1.0f); }), "");
        EXPECT_EQ((pipeline.*c.get)(), 1.0f);
    }
    EXPECT_EQ(rejected([&] { pipeline.setMaxCGIters(0); }),
              "Invalid maximum number of iterations specified.");
    EXPECT_EQ(pipeline.getMaxCGIters(), 8);
    const char* index = "Invalid reference index specified.";
    EXPECT_EQ(rejected([&] { pipeline.setReferenceIndex(3); }), index);
    EXPECT_EQ(rejected([] { VectorPipeline(5, 4, 0, 2.0f); }), index);
    EXPECT_EQ(pipeline.getReferenceIndex(), 0);
    EXPECT_EQ(pipeline.getMinStructureThreshold(), 2.0f);
    EXPECT_EQ(pipeline.getInputSize(), 20);
    EXPECT_EQ(pipeline.getOutputSize(), 7 * 6);
    EXPECT_EQ(pipeline.getWindowSize(), 3);
}

}  // namespace
}  // namespace oravo::test
