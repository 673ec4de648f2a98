#include "vision/superresolution/reference/SuperResolution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <regex>

#include "support/FloatBits.h"
#include "tests/RecordedBursts.h"
#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::test {
namespace {

using vision::SuperResolution;

constexpr int kWidth = 60;
constexpr int kHeight = 50;
const std::vector<Point> kShifts = {{0, 0}, {0.4f, 0.1f}, {-0.3f, 0.5f}, {0.2f, -0.4f}, {0.5f, 0.5f}};

struct Open : SuperResolution {
    using SuperResolution::computeQuality_;
    using SuperResolution::NucToRad;
    using SuperResolution::saveFrame;
    using SuperResolution::simpleCombine;
    using SuperResolution::SuperResolution;
};

template <class T>
struct QuietRun {
    explicit QuietRun(SuperResolution& pipeline, float F = 2.0f)
        : image(static_cast<int>(kHeight * F), static_cast<int>(kWidth * F), T(7)) {
        testing::internal::CaptureStdout();
        try {
            result = pipeline.computeSR(image.template ptr<T>());
        } catch (const Exception& exception) {
            thrown = exception.message();
        }
        report = testing::internal::GetCapturedStdout();
    }
    cv::Mat_<T> image;
    float result = 0.0f;
    std::string thrown, report;
};

std::vector<Image> burstAt(const std::vector<Point>& shifts, double scale = 3.0) {
    return burst(Scene(3, kHeight, kWidth, scale), kHeight, kWidth, shifts);
}

cv::Mat_<short> counts(const Image& image, double gain = 100.0) {
    cv::Mat_<short> result;
    image.convertTo(result, CV_16S, gain);
    return result;
}

template <class Pixels>
void fill(SuperResolution& pipeline, const std::vector<Pixels>& frames) {
    for (const Pixels& frame : frames) {
        EXPECT_EQ(pipeline.addFrame(frame.template ptr<typename Pixels::value_type>()), 0);
    }
}

std::vector<PointF> shiftsOf(const SuperResolution& pipeline) {
    std::vector<PointF> shifts;
    pipeline.getCompleteShifts(shifts);
    return shifts;
}

TEST(SuperResolution, RefusesOddWidths) {
    EXPECT_NE(thrownBy([] { SuperResolution(15, 12, 5, 2.0f); }).message(), "(nothing thrown)");
}

TEST(SuperResolution, AssignmentSharesTheEngines) {
    SuperResolution pipeline(16, 12, 5, 2.0f);
    SuperResolution assigned(8, 8, 1, 2.0f);
    assigned = pipeline;
    assigned.setWeightTV(50.0f);
    EXPECT_EQ(pipeline.getWeightTV(), 50.0f);  // both use one solver
}

TEST(SuperResolution, RunsOnFloatsAsTheFloatPipelineDoes) {
    const std::vector<Image> frames = burstAt(kShifts);
    Open pipeline(kWidth, kHeight, 5, 2.0f);
    fill(pipeline, frames);
    const QuietRun<float> run(pipeline);
    const std::string number = R"([0-9.e+-]+\[ms\]\n)";
    EXPECT_TRUE(std::regex_match(
        run.report, std::regex(R"(\+{10} SuperResolution \+{10}\n)"
                               " registration:         " +
                               number + " large_displacement:   " + number + " minimization:         " +
                               number + R"( save\+srfactor calc:   )" + number + R"(\+{29}\n)")))
        << run.report;

    vision::SrFloat<vision::SrFloatRegistration1> floating(kWidth, kHeight, 5, 2.0f);
    for (const Image& frame : frames) floating.addFrame(frame);
    Image image;
    testing::internal::CaptureStdout();
    const float gain = floating.computeSR(image);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(run.result, gain);
    EXPECT_LT(largestDifference(run.image, image), 0.05);  // the first pixel's links
    EXPECT_LT(rmsDifference(run.image, image, 3), 1e-4);
    std::vector<cv::Mat_<unsigned char>> masks, expected;
    pipeline.getMasks(masks);
    floating.getMasks(expected);
    ASSERT_EQ(masks.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(cv::countNonZero(masks[i] != expected[i]), 0);

    Image saved(2 * kHeight, 2 * kWidth);
    pipeline.saveFrame(saved.ptr<float>());
    EXPECT_TRUE(sameBits(saved, run.image));
}

TEST(SuperResolution, CountsAreTakenAsTheyAreAndTruncated) {
    std::vector<Image> scene;
    for (const Image& frame : burstAt(kShifts)) {
        scene.push_back(linear(frame, 100, 0));
        scene.back()(20, 30) = 5200;  // beyond the plausible radiometric range, which counts do not have
    }
    const std::vector<Image> extremes(5, randomImage(kHeight, kWidth, 6, -32768.0f, 32767.0f));
    for (const auto& [frames, wraps] : {std::pair{scene, false}, {extremes, true}}) {
        SuperResolution onCounts(kWidth, kHeight, 5, 2.0f), onFloats(kWidth, kHeight, 5, 2.0f);
        onFloats.setDataIsNUC(true);
        for (const Image& frame : frames) {
            const cv::Mat_<short> counted = counts(frame, 1);
            Image same;
            counted.convertTo(same, CV_32F);
            fill(onCounts, std::vector<cv::Mat_<short>>{counted});
            fill(onFloats, std::vector<Image>{same});
        }
        const QuietRun<short> run(onCounts);
        const QuietRun<float> expected(onFloats);
        int wrapped = 0;
        for (int i = 0; i < 4 * kWidth * kHeight; ++i) {
            const int whole = static_cast<int>(expected.image.ptr<float>()[i]);
            wrapped += whole != static_cast<short>(whole) ? 1 : 0;
            ASSERT_EQ(run.image.ptr<short>()[i], static_cast<short>(whole)) << i;
        }
        EXPECT_EQ(wrapped > 0, wraps);
        // Defects of counts are not noted, so there is nothing to refill by.
        EXPECT_NE(QuietRun<float>(onCounts).thrown, "");
    }
    Open empty(2, 2, 1, 2.0f);
    empty.simpleCombine();  // the mean of no frames is not a number
    cv::Mat_<short> out(4, 4, short(7));
    empty.saveFrame(out.ptr<short>());
    EXPECT_EQ(cv::countNonZero(out), 0);
}

TEST(SuperResolution, WindowRollsFramesAndSpectraTogether) {
    const std::vector<Image> frames =
        burstAt({{3, 1}, {0, 0}, {0.4f, 0.1f}, {-0.3f, 0.5f}, {0.2f, -0.4f}}, 1.0);
    SuperResolution rolled(kWidth, kHeight, 4, 2.0f);
    SuperResolution fresh(kWidth, kHeight, 4, 2.0f);
    fill(rolled, frames);
    fill(fresh, std::vector<Image>(frames.begin() + 1, frames.end()));
    const QuietRun<float> first(rolled);
    EXPECT_TRUE(sameBits(first.image, QuietRun<float>(fresh).image));
    const std::vector<PointF> shifts = shiftsOf(rolled);
    ASSERT_EQ(shifts.size(), 4U);
    EXPECT_EQ(shifts[3].x, 0.0f);  // the newest frame is the reference
    EXPECT_NEAR(shifts[0].x, -0.2f, 0.05f);
    EXPECT_NEAR(shifts[0].y, 0.4f, 0.05f);

    rolled.clearFrames();
    EXPECT_NE(QuietRun<float>(rolled).thrown, "");
    fill(rolled, std::vector<Image>(frames.begin() + 1, frames.end()));
    EXPECT_TRUE(sameBits(first.image, QuietRun<float>(rolled).image));
}

TEST(SuperResolution, StatusesComeWithTheImage) {
    // The limit is a tenth of the height, 5 pixels, on either axis.
    struct Case {
        Point shift;
        float regError;
        float status;
    };
    for (const Case& c : {Case{{4.6f, 0}, 0.0001f, 0},
                          {{5.4f, 0}, 0.0001f, -6},
                          {{0, -5.4f}, 0.0001f, -6},
                          {{1, 0}, 1e-12f, -3},
                          {{5.4f, 0}, 1e-12f, -6}}) {
        SuperResolution pipeline(kWidth, kHeight, 3, 2.0f);
        fill(pipeline, burstAt({c.shift, {0, 0}, {0, 0}}, 1.0));
        pipeline.setRegError(c.regError);
        const QuietRun<float> run(pipeline);
        if (c.status == 0) {
            EXPECT_GT(run.result, 1.0f);
        } else {
            EXPECT_EQ(run.result, c.status) << c.shift;
        }
        EXPECT_NE(run.image(kHeight, kWidth), 7.0f);
        EXPECT_EQ(std::count(run.report.begin(), run.report.end(), '\n'), 6);
    }
}

TEST(SuperResolution, CoverageCapIsSettledByTheFirstRunOfEachType) {
    const Image still = burstAt({{0, 0}})[0];
    const auto gain = [&](float F, auto pixels) {
        SuperResolution pipeline(kWidth, kHeight, 7, F);
        fill(pipeline, std::vector<decltype(pixels)>(7, pixels));
        return QuietRun<typename decltype(pixels)::value_type>(pipeline, F).result;
    };
    gain(2.0f, still);
    EXPECT_EQ(gain(3.0f, still), 2.0f);  // min(7, 5) - 1 of 4; a cap of its own, 10, would give 2.5
    // Counts have a cap of their own: here the first run of the type settles 5 too, whatever came with
    // floats.
    gain(2.0f, counts(still));
    EXPECT_EQ(gain(3.0f, counts(still)), 2.0f);
}

TEST(SuperResolution, CodesAreRepairedInFloatsOnly) {
    std::vector<Image> frames = burstAt(kShifts);
    SuperResolution clean(kWidth, kHeight, 5, 2.0f);
    fill(clean, frames);
    const QuietRun<float> expected(clean);
    for (Image& frame : frames) frame(20, 30) = floatOf(vision::CODE_BAD_PIXEL);
    SuperResolution pipeline(kWidth, kHeight, 5, 2.0f);
    fill(pipeline, frames);
    const QuietRun<float> run(pipeline);
    EXPECT_LT(largestDifference(run.image, expected.image), 4.0);
    EXPECT_GT(largestDifference(run.image, expected.image), 0.0);

    // Values beyond the plausible range fall back to the extremes of the frame, and a frame of nothing else
    // to the bounds of the range: no infinity reaches the transform.
    const Image infinite(kHeight, kWidth, std::numeric_limits<float>::infinity());
    EXPECT_EQ(pipeline.addFrame(infinite.ptr<float>()), -2);

    // A frame beyond repair keeps its place, and its spectrum keeps in step with it.
    Image broken = burstAt({{2, 1}}, 1.0)[0];
    for (int x = 2; x < 38; x += 3) broken(8, x) = broken(9, x) = std::nanf("");
    const std::vector<Image> others = burstAt({{0, 0}, {0.4f, -2}, {-1, 0.5f}}, 1.0);
    SuperResolution window(kWidth, kHeight, 4, 2.0f);
    EXPECT_EQ(window.addFrame(others[0].ptr<float>()), 0);
    EXPECT_EQ(thrownBy([&] { window.addFrame(broken.ptr<float>()); }).message(),
              "Too many defect pixels. No processing possible.");
    fill(window, std::vector<Image>(others.begin() + 1, others.end()));
    QuietRun<float> after(window);
    EXPECT_EQ(after.thrown, "");
    EXPECT_NEAR(shiftsOf(window)[1].x, 3.0f, 0.1f);
    EXPECT_NEAR(shiftsOf(window)[1].y, 0.5f, 0.1f);
    EXPECT_EQ(shiftsOf(window).size(), 4U);
}

TEST(SuperResolution, CalibrationTurnsCountsIntoValues) {
    const std::vector<Image> frames = burstAt(kShifts);
    const cv::Mat_<short> low(kHeight, kWidth, short(1000)), high(kHeight, kWidth, short(3000));
    Open pipeline(kWidth, kHeight, 5, 2.0f);
    Image image(2 * kHeight, 2 * kWidth);
    const cv::Mat_<short> nuc = counts(frames[0]);
    const Exception missing = thrownBy([&] { pipeline.processFrame2(nuc.ptr<short>(), image.ptr<float>()); });
    EXPECT_EQ(missing.message(), "NucToRad() not initialized");
    EXPECT_EQ(missing.kind(), Exception::Kind::notReady);
    EXPECT_TRUE(std::regex_match(missing.location(),
                                 std::regex("vision/superresolution/reference/SuperResolution: [0-9]+: "
                                            R"(oravo::vision::SuperResolution::processFrame2\(\.\.\)\n)")));
    const Image ten(kHeight, kWidth, 12.0f), thirty(kHeight, kWidth, 32.0f);
    EXPECT_EQ(thrownBy([&] { pipeline.setNucToRad(low, ten, high, Image(3, 4)); }).message(),
              "Invalid calibration: nuc1 is 60 x 50, but rad2 is 4 x 3.");
    const cv::Rect part(0, 0, kWidth, kHeight - 1);
    pipeline.setNucToRad(low(part), ten(part), high(part), thirty(part));
    EXPECT_EQ(thrownBy([&] { pipeline.processFrame2(nuc.ptr<short>(), image.ptr<float>()); }).location(),
              missing.location());
    pipeline.setNucToRad(low, ten, high, thirty);

    Open expected(kWidth, kHeight, 5, 2.0f);
    for (const Image& frame : frames) {
        const cv::Mat_<short> counted = counts(frame);
        Image radiometric(kHeight, kWidth);
        const float gain = 20.0f / 2000.0f;
        for (int i = 0; i < kWidth * kHeight; ++i) {
            const float product = static_cast<float>(counted.ptr<short>()[i]) * gain;
            radiometric.ptr<float>()[i] = product + (12.0f - gain * 1000.0f);
        }
        fill(expected, std::vector<Image>{radiometric});
        testing::internal::CaptureStdout();
        const float result = pipeline.processFrame2(counted.ptr<short>(), image.ptr<float>());
        testing::internal::GetCapturedStdout();
        EXPECT_GE(result, 0.9f);
    }
    EXPECT_TRUE(sameBits(image, QuietRun<float>(expected).image));
}

TEST(SuperResolution, QualityMapAndPlainMeanServeDerivedClasses) {
    Open pipeline(kWidth, kHeight, 3, 2.0f);
    cv::Mat_<float> quality(1, 1);
    pipeline.getQuality(quality);
    EXPECT_TRUE(quality.empty());
    const std::vector<Image> frames = burstAt({{0, 0}, {0, 0}, {0, 0}});
    fill(pipeline, frames);
    const QuietRun<float> still(pipeline);
    pipeline.computeQuality_();
    pipeline.getQuality(quality);
    EXPECT_EQ(quality(1, 1), 1.0f);  // every frame on the reference's own phase
    EXPECT_EQ(cv::sum(quality)[0], 1.0);
    pipeline.simpleCombine();
    Image mean(2 * kHeight, 2 * kWidth);
    pipeline.saveFrame(mean.ptr<float>());
    cv::Scalar level, deviation;  // the solver leaves the moved frames normalised by the reference
    cv::meanStdDev(frames[2], level, deviation);
    for (int y = 0; y < mean.rows; y += 7) {
        for (int x = 0; x < mean.cols; ++x) {
            EXPECT_NEAR(mean(y, x), (frames[0](y / 2, x / 2) - level[0]) / deviation[0], 1e-4);
        }
    }

    Open spread(kWidth, kHeight, 3, 2.0f);
    fill(spread, burstAt({{0.25f, 0}, {-0.4f, -0.25f}, {0, 0}}));
    const QuietRun<float> moved(spread);
    spread.computeQuality_();
    spread.getQuality(quality);
    EXPECT_NEAR(cv::sum(quality)[0], 1.0, 1e-6);
    EXPECT_NEAR(quality(1, 2), 0.5 / 3, 0.05);        // of the frame at (0.25, 0), half
    EXPECT_NEAR(quality(0, 0), 0.8 * 0.5 / 3, 0.05);  // of the one at (-0.4, -0.25)
    EXPECT_NEAR(quality(2, 1), 0.0, 0.05);

    cv::Mat_<short> flat(4, 4, short(9));
    EXPECT_FALSE(spread.checkImageStructureQuality(flat));
    flat(1, 1) = 11;
    EXPECT_TRUE(spread.checkImageStructureQuality(flat));
    Image slight(4, 4, 1.0f);
    slight(0, 0) = 2.99f;
    EXPECT_FALSE(spread.checkImageStructureQuality(slight));
}

TEST(SuperResolution, ShiftsOfRecordedBurstsAgreeWithTheFloatPipeline) {
    if (!whyNoRecordings().empty()) GTEST_SKIP() << whyNoRecordings();
    for (const char* name : {"rendered_pipes", "mwir_embankment", "mwir_fields", "lwir_buildings"}) {
        const std::vector<Image> frames = recordedWindow(name);
        SuperResolution reference(frames[0].cols, frames[0].rows, 5, 2.0f);
        vision::SrFloat<vision::SrFloatRegistration1> floating(frames[0].cols, frames[0].rows, 5, 2.0f);
        reference.setDataIsNUC(true);
        floating.setDataIsNUC(true);
        Image image, other(2 * frames[0].rows, 2 * frames[0].cols);
        for (const Image& frame : frames) {
            EXPECT_EQ(reference.addFrame(frame.ptr<float>()), floating.addFrame(frame)) << name;
        }
        testing::internal::CaptureStdout();
        EXPECT_EQ(reference.computeSR(other.ptr<float>()), floating.computeSR(image)) << name;
        testing::internal::GetCapturedStdout();
        std::vector<Point> shifts;
        floating.getCompleteShifts(shifts);
        for (std::size_t i = 0; i < 5; ++i) {
            EXPECT_EQ(Point(shiftsOf(reference)[i].x, shiftsOf(reference)[i].y), shifts[i]) << name;
        }
        cv::Scalar mean, deviation;
        cv::meanStdDev(frames[4], mean, deviation);
        EXPECT_LT(rmsDifference(image, other, 4), 1e-3 * deviation[0]) << name;
    }
}

}  // namespace
}  // namespace oravo::test
