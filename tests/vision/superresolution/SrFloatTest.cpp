#include "vision/superresolution/SrFloat.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <regex>
#include <string>
#include <vector>

#include "support/FloatBits.h"
#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::test {
namespace {

using Pipeline = vision::SrFloat<vision::SrFloatRegistration2>;

constexpr int kWidth = 60;
constexpr int kHeight = 50;

class QuietRun {
  public:
    explicit QuietRun(Pipeline& pipeline) {
        testing::internal::CaptureStdout();
        result = pipeline.computeSR(image);
        report = testing::internal::GetCapturedStdout();
    }
    Image image;
    float result = 0.0f;
    std::string report;
};

std::vector<Image> burstAt(const std::vector<Point>& shifts, unsigned seed = 3) {
    return burst(Scene(seed, kHeight, kWidth), kHeight, kWidth, shifts);
}

const std::vector<Point> kShifts = {{0, 0}, {0.4f, 0.1f}, {-0.3f, 0.5f}, {0.2f, -0.4f}, {0.5f, 0.5f}};

Pipeline filled(const std::vector<Image>& frames) {
    Pipeline pipeline(kWidth, kHeight, 5, 2.0f);
    for (const Image& frame : frames) EXPECT_EQ(pipeline.addFrame(frame), 0);
    return pipeline;
}

TEST(SrFloat, ReportHasSixLines) {
    Pipeline pipeline = filled(burstAt(kShifts));
    const QuietRun run(pipeline);
    const std::string number = R"([0-9.e+-]+)";
    EXPECT_TRUE(std::regex_match(run.report, std::regex(R"(\+{10} SrFloat \+{10}\n)"
                                                        " registration:         " +
                                                        number +
                                                        R"(\[ms\]\n)"
                                                        " large_displacement:   " +
                                                        number +
                                                        R"(\[ms\]\n)"
                                                        " minimization:         " +
                                                        number +
                                                        R"(\[ms\]\n)"
                                                        " save\\+srfactor calc:   " +
                                                        number +
                                                        R"(\[ms\]\n)"
                                                        R"(\+{29}\n)")))
        << run.report;
}

TEST(SrFloat, WindowKeepsTheNewestFrames) {
    const std::vector<Image> frames =
        burstAt({{0, 0}, {3, 1}, {0.4f, 0.1f}, {-0.3f, 0.5f}, {0.2f, -0.4f}, {0.5f, 0.5f}, {0.1f, 0}});
    Pipeline rolled = filled(frames);
    Pipeline fresh = filled({frames.begin() + 2, frames.end()});
    // The 8-bit range of the registration lasts, so both have to have seen the same extremes.
    const QuietRun a(rolled);
    const QuietRun b(fresh);
    EXPECT_LT(largestDifference(a.image, b.image), 0.05);
    std::vector<Point> shifts;
    rolled.getCompleteShifts(shifts);
    ASSERT_EQ(shifts.size(), 5U);
    EXPECT_EQ(shifts[4], Point(0, 0));  // reference index 0 is the newest frame
    EXPECT_NEAR(shifts[0].x, 0.3f, 0.05f);
    EXPECT_NEAR(shifts[0].y, 0.1f, 0.05f);

    rolled.setReferenceIndex(3);
    const QuietRun other(rolled);
    rolled.getCompleteShifts(shifts);
    EXPECT_EQ(shifts[1], Point(0, 0));
    EXPECT_NEAR(shifts[4].x, 0.4f, 0.05f);
}

TEST(SrFloat, ClearedWindowIsFilledAnew) {
    const std::vector<Image> frames = burstAt(kShifts);
    Pipeline pipeline = filled(frames);
    const QuietRun first(pipeline);
    const auto refusal = [&](Pipeline& cleared) {
        testing::internal::CaptureStdout();
        Image out;
        const std::string message = thrownBy([&] { cleared.computeSR(out); }).message();
        testing::internal::GetCapturedStdout();
        return message;
    };
    Pipeline other = filled(frames);  // not run before
    for (Pipeline* cleared : {&pipeline, &other}) {
        cleared->clearFrames();
        EXPECT_EQ(refusal(*cleared),
                  "Registration of 0 frames against frame 0 requested, but 5 frames are prepared.");
    }
    for (std::size_t i = 0; i < 4; ++i) {
        pipeline.addFrame(frames[i]);
        EXPECT_EQ(refusal(pipeline),
                  "replaceMaskedPixel(): number of shifts or frames is smaller than number of defectMaps");
        other.addFrame(frames[i]);
        EXPECT_EQ(refusal(other), "maskBadPixel(): number of shifts ist not equal to number of defectMaps");
    }
    pipeline.addFrame(frames[4].ptr<float>());
    const QuietRun second(pipeline);
    EXPECT_TRUE(sameBits(first.image, second.image));
    EXPECT_TRUE(sameBits(first.image, QuietRun(pipeline).image));  // runs may be repeated
}

template <class AnyPipeline>
void expectMatricesToBeRead(const std::string& name) {
    AnyPipeline dense(kWidth, kHeight, 5, 2.0f), regions(kWidth, kHeight, 5, 2.0f);
    for (const Image& frame : burstAt(kShifts)) {
        Image large(kHeight + 5, kWidth + 7, -1.0f);
        Image region = large(cv::Rect(4, 2, kWidth, kHeight));
        frame.copyTo(region);
        dense.addFrame(frame.ptr<float>());
        EXPECT_EQ(regions.addFrame(region), 0);
        EXPECT_TRUE(sameBits(region, frame));
    }
    for (const cv::Size size :
         {cv::Size(0, 0), {kHeight, kWidth}, {kWidth * kHeight, 1}, {kWidth, kHeight + 1}}) {
        const Exception refused = thrownBy([&] { regions.addFrame(Image(size, 1.0f)); });
        EXPECT_EQ(refused.message(), "Invalid frame of " + std::to_string(size.width) + " x " +
                                         std::to_string(size.height) +
                                         " pixels given, the pipeline takes 60 x 50.");
        EXPECT_EQ(refused.location().rfind("vision/superresolution/" + name + ": ", 0), 0U);
    }
    Image expected, image;  // what was refused has not entered the window
    testing::internal::CaptureStdout();
    dense.computeSR(expected);
    regions.computeSR(image);
    testing::internal::GetCapturedStdout();
    EXPECT_TRUE(sameBits(image, expected));
}

TEST(SrFloat, MatricesAreReadByTheirRowsOrRefused) {
    expectMatricesToBeRead<Pipeline>("SrFloat");
    expectMatricesToBeRead<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>("SrFloatNeon");
}

TEST(SrFloat, FullCoverageGivesAGainOfTwo) {
    Pipeline pipeline = filled(std::vector<Image>(5, burstAt({{0, 0}})[0]));
    EXPECT_EQ(QuietRun(pipeline).result, 2.0f);
    std::vector<cv::Mat_<unsigned char>> masks(1);
    pipeline.getMasks(masks);
    ASSERT_EQ(masks.size(), 5U);
    for (const auto& mask : masks) EXPECT_EQ(cv::countNonZero(mask == 1), kWidth * kHeight);
    std::vector<cv::Mat_<unsigned char>> before = masks;
    before[0].setTo(5);
    pipeline.getMasks(masks);
    EXPECT_EQ(cv::countNonZero(before[0] == 5), kWidth * kHeight);  // what was handed out is left alone
}

TEST(SrFloat, GainFollowsFromTheMasks) {
    Pipeline pipeline = filled(burstAt({{0, 0}, {2.4f, 1.3f}, {-1.3f, 0.2f}, {0.3f, 0.4f}, {1.0f, -3.0f}}));
    pipeline.setRegError(2e-5f);
    const QuietRun run(pipeline);
    std::vector<cv::Mat_<unsigned char>> masks;
    pipeline.getMasks(masks);
    double total = -kWidth * kHeight;
    for (const auto& mask : masks) total += cv::sum(mask)[0];
    EXPECT_LT(run.result, 1.99f);
    EXPECT_FLOAT_EQ(run.result, static_cast<float>(total / (kWidth * kHeight * 4.0) + 1.0));
}

TEST(SrFloat, LargeDisplacementsComeBeforeSparseMasks) {
    // The limit is a tenth of the height, 5 pixels here, on either axis; the image is delivered all the same.
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
        Pipeline pipeline = filled(burstAt({c.shift, {0, 0}, {0, 0}, {0, 0}, {0, 0}}));
        pipeline.setRegError(c.regError);
        const QuietRun run(pipeline);
        if (c.status == 0) {
            EXPECT_GT(run.result, 1.5f);
        } else {
            EXPECT_EQ(run.result, c.status) << c.shift;
        }
        EXPECT_EQ(std::count(run.report.begin(), run.report.end(), '\n'), 6);
        EXPECT_GT(cv::countNonZero(run.image), 0);
    }
}

TEST(SrFloat, FailedRegistrationLeavesTheOutputAlone) {
    Pipeline pipeline = filled(std::vector<Image>(5, Image(kHeight, kWidth, 20.0f)));
    Image out(2 * kHeight, 2 * kWidth, 7.0f);
    testing::internal::CaptureStdout();
    EXPECT_EQ(pipeline.computeSR(out.ptr<float>()), -998.0f);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "++++++++++ SrFloat ++++++++++\n");
    EXPECT_EQ(cv::countNonZero(out == 7.0f), 4 * kWidth * kHeight);

    Pipeline empty(kWidth, kHeight, 5, 2.0f);
    testing::internal::CaptureStdout();
    EXPECT_THROW(empty.computeSR(out.ptr<float>()), Exception);
    testing::internal::GetCapturedStdout();
}

TEST(SrFloat, CoverageCapIsSettledByTheFirstRun) {
    Pipeline first = filled(burstAt(kShifts));
    const QuietRun settles(first);
    Pipeline wide(kWidth, kHeight, 7, 3.0f);
    for (int i = 0; i < 7; ++i) wide.addFrame(burstAt({{0, 0}})[0]);
    EXPECT_EQ(QuietRun(wide).result, 2.0f);  // min(7, 5) - 1 of 4; its own cap of 10 would give 2.5
}

TEST(SrFloat, DefectivePixelsAreRefilled) {
    std::vector<Image> frames = burstAt({{0, 0}, {2, 0}, {0, 2}, {-2, 0}, {0, -2}});
    Pipeline clean = filled(frames);
    const QuietRun expected(clean);
    for (Image& frame : frames) frame(20, 30) = floatOf(vision::CODE_BAD_PIXEL);
    Pipeline pipeline = filled(frames);
    const QuietRun run(pipeline);
    EXPECT_LT(largestDifference(run.image, expected.image), 4.0);
    EXPECT_LT(rmsDifference(run.image, expected.image, 0), 0.4);
    EXPECT_GT(largestDifference(run.image, expected.image), 0.0);
}

TEST(SrFloat, UnusableFrameKeepsWindowAndRegistrationInStep) {
    const std::vector<Image> frames = burstAt({{0, 0}, {2, 1}, {0.4f, -2}, {-1, 0.5f}, {0.2f, 1}, {1, 1}});
    Pipeline pipeline(kWidth, kHeight, 5, 2.0f);
    Image broken = frames[1].clone();
    for (int x = 2; x < 38; x += 3) broken(8, x) = broken(9, x) = std::nanf("");
    pipeline.addFrame(frames[0]);
    EXPECT_EQ(thrownBy([&] { pipeline.addFrame(broken); }).message(),
              "Too many defect pixels. No processing possible.");
    for (std::size_t i = 2; i < frames.size(); ++i) pipeline.addFrame(frames[i]);
    const QuietRun run(pipeline);
    std::vector<Point> shifts;
    pipeline.getCompleteShifts(shifts);
    ASSERT_EQ(shifts.size(), 5U);
    EXPECT_NEAR(shifts[0].x, 1.0f,
                0.1f);  // the broken frame is the oldest now, and still known by its own shift
    EXPECT_NEAR(shifts[1].y, -3.0f, 0.2f);
}

TEST(SrFloat, CopiesKeepTheirOwnParameters) {
    Pipeline pipeline = filled(burstAt(kShifts));
    Pipeline copy(8, 8, 1, 2.0f);
    copy = pipeline;
    copy.setWeightTV(50.0f);
    EXPECT_EQ(pipeline.getWeightTV(), 400.0f);
    copy.setWeightTV(400.0f);
    EXPECT_EQ(copy.getInputSize(), kWidth * kHeight);
    const QuietRun a(copy);
    EXPECT_TRUE(sameBits(a.image, QuietRun(pipeline).image));
}

TEST(SrFloat, PhaseCorrelationGivesTheSameImage) {
    const std::vector<Image> frames = burstAt(kShifts);
    Pipeline corners = filled(frames);
    vision::SrFloat<vision::SrFloatRegistration1> phase(kWidth, kHeight, 5, 2.0f);
    for (const Image& frame : frames) EXPECT_EQ(phase.addFrame(frame), 0);
    Image image;
    testing::internal::CaptureStdout();
    EXPECT_GT(phase.computeSR(image), 1.5f);
    EXPECT_EQ(testing::internal::GetCapturedStdout().rfind("++++++++++ SrFloat ++++++++++\n", 0), 0U);
    EXPECT_LT(rmsDifference(image, QuietRun(corners).image, 3), 0.05);
}

TEST(SrFloat, SaveFrameRepeatsTheLastImage) {
    struct Open : Pipeline {
        using Pipeline::Pipeline;
        using Pipeline::saveFrame;
    };
    Open pipeline(kWidth, kHeight, 5, 2.0f);
    for (const Image& frame : burstAt(kShifts)) pipeline.addFrame(frame);
    const QuietRun run(pipeline);
    Image saved(2 * kHeight, 2 * kWidth);
    pipeline.saveFrame(saved.ptr<float>());
    EXPECT_TRUE(sameBits(saved, run.image));
}

}  // namespace
}  // namespace oravo::test
