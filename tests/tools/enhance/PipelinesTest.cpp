#include <cmath>
#include <fstream>
#include <opencv2/core.hpp>

#include "tests/tools/Program.h"
#include "tools/formats/ShiftTable.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/simulate/BurstSimulator.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::tools {
namespace {

TEST_F(Program, ReferencePipelineRefersToTheNewestFrame) {
    ASSERT_EQ(run("simulate -o b --reference 4 --frames 5 --defects 3").code, 0);
    const Outcome enhanced =
        run("enhance b -o o.tif --pipeline reference --reference-index 0 --registration phase --timing");
    ASSERT_EQ(enhanced.code, 0) << enhanced.err;
    EXPECT_EQ(enhanced.out.rfind("++++++++++ SuperResolution ++++++++++\n", 0), 0u) << enhanced.out;
    const Quality ours = compareWithTruth(image("o.tif"), image("b/truth.tif"), 3);
    const cv::Mat_<float> plain = bicubic(repaired(image("b/frame_004.tif")), {320, 240});
    EXPECT_LT(ours.rmse, 0.8 * compareWithTruth(plain, image("b/truth.tif"), 3).rmse);
}

TEST_F(Program, VectorPipelineComputesTheSameButRepairsNothing) {
    ASSERT_EQ(run("simulate -o b --width 70 --height 50").code, 0);
    ASSERT_EQ(
        run("enhance b --pipeline float -o f.tif --shifts f.csv --reference-index 2 --tv-weight 300").code,
        0);
    const Outcome enhanced =
        run("enhance b -o v.tif --shifts v.csv --reference-index 2 --tv-weight 300 --pipeline vector");
    ASSERT_EQ(enhanced.code, 0) << enhanced.err;
    EXPECT_EQ(text(path("f.csv")), text(path("v.csv")));
    EXPECT_LT(cv::norm(image("f.tif"), image("v.tif"), cv::NORM_INF), 1e-3);

    ASSERT_EQ(run("simulate -o raw --width 70 --height 50 --defects 3").code, 0);
    ASSERT_EQ(run("enhance raw --pipeline float -o f.tif").code, 0);
    ASSERT_EQ(run("enhance raw -o v.tif --pipeline vector").code, 0);
    EXPECT_GT(cv::norm(image("f.tif"), image("v.tif"), cv::NORM_INF), 5.0);  // codes are numbers next to 0
    const Outcome counts = run("enhance raw -o w.tif --scale 500 --pipeline vector");
    EXPECT_EQ(counts.code, 0);
    EXPECT_EQ(counts.err.find("plausible"), std::string::npos) << counts.err;
    for (const char* option : {"--registration phase", "--nuc", "--timing", "--coverage c.png"}) {
        const Outcome refused = run(std::string("enhance b -o r.tif --pipeline vector ") + option);
        EXPECT_EQ(refused.code, 1) << option;
        EXPECT_NE(refused.err.find(": the vector pipeline "), std::string::npos) << refused.err;
    }
}

/// The recordings' own table lists what another method found, to some hundredths of a pixel.
TEST_F(Program, PipelinesAgreeOnTheShiftsOfRecordedBursts) {
    const char* folder = std::getenv("ORAVO_TEST_DATA");
    if (folder == nullptr) GTEST_SKIP() << "ORAVO_TEST_DATA names no folder of recordings";
    for (const char* name : {"rendered_pipes", "mwir_embankment", "mwir_fields", "lwir_buildings"}) {
        const std::string burst = std::string(folder) + "/bursts/" + name;
        const std::vector<cv::Point2f> all = parseShifts(burst + "/shifts.csv");
        const std::vector<cv::Point2f> listed(all.end() - 5, all.end());
        for (const char* pipeline :
             {"float --registration corners", "float --registration phase", "vector", "reference"}) {
            SCOPED_TRACE(std::string(name) + ", " + pipeline);
            const Outcome outcome = run(
                "enhance " + burst + " -o o.tif --shifts s.csv --reference-index 0 --pipeline " + pipeline);
            ASSERT_EQ(outcome.code, 0) << outcome.err;
            const std::vector<cv::Point2f> found = parseShifts(path("s.csv"));
            ASSERT_EQ(found.size(), listed.size());
            for (std::size_t i = 0; i < found.size(); ++i) {
                EXPECT_LT(cv::norm(found[i] - (listed[i] - listed.back())), 0.1)
                    << found[i] << (listed[i] - listed.back());
            }
        }
    }
}

/// Raw counts of a sensor each of whose pixels has a gain and an offset of its own.
cv::Mat countsAt(const cv::Mat_<float>& degrees, int depth) {
    cv::Mat_<float> counts(degrees.size());
    for (int y = 0; y < counts.rows; ++y) {
        for (int x = 0; x < counts.cols; ++x) {
            const auto pattern = static_cast<float>((7 * x + 13 * y) % 11);
            counts(y, x) = std::round(degrees(y, x) * (40.0f + pattern) + 20.0f * pattern - 500.0f);
        }
    }
    cv::Mat stored;
    counts.convertTo(stored, depth);
    return stored;
}

TEST_F(Program, CalibrationTurnsCountsIntoTheTemperaturesOfTheReferencePipeline) {
    const cv::Size size(64, 48), doubled(128, 96);
    ASSERT_EQ(run("simulate -o b --reference 4 --noise 0.02 --width 64 --height 48").code, 0);
    std::filesystem::create_directory(path("raw"));
    vision::SuperResolution library(size.width, size.height, 5, 2.0f);
    const cv::Mat_<float> ten(size, 10.0f), thirty(size, 30.0f);
    const cv::Mat_<short> cold = countsAt(ten, CV_16S), warm = countsAt(thirty, CV_16S);
    library.setNucToRad(cold, ten, warm, thirty);
    writeImage(path("cold.tif"), cold);
    writeImage(path("warm.tif"), warm);
    writeImage(path("thirty.tif"), thirty);
    cv::Mat_<float> expected(doubled);
    testing::internal::CaptureStdout();
    for (int i = 0; i < 5; ++i) {
        const std::string name = "/frame_00" + std::to_string(i) + ".tif";
        const cv::Mat_<short> counts = countsAt(image("b" + name), CV_16S);
        writeImage(path("raw" + name), counts);
        library.processFrame2(counts.ptr<short>(), expected.ptr<float>());
    }
    testing::internal::GetCapturedStdout();
    const std::string command =
        "enhance raw -o o.tif --calibration cold.tif 10 warm.tif thirty.tif --pipeline ";
    const Outcome reference = run(command + "reference");
    ASSERT_EQ(reference.code, 0) << reference.err;
    EXPECT_EQ(cv::norm(image("o.tif"), expected), 0.0);
    ASSERT_EQ(run(command + "float --reference-index 0").code, 0);
    EXPECT_LT(
        compareWithTruth(image("o.tif"), image("b/truth.tif"), 3).rmse,
        0.8 * compareWithTruth(bicubic(image("b/frame_004.tif"), doubled), image("b/truth.tif"), 3).rmse);

    // The same as dumps behind a row of telemetry, which a crop leaves out.
    const auto framed = [](const cv::Mat& image) {
        cv::Mat all;
        cv::copyMakeBorder(image, all, 1, 0, 0, 0, cv::BORDER_CONSTANT, cv::Scalar(32767));
        return all;
    };
    const auto dump = [&](const char* name, const cv::Mat& image) {
        const cv::Mat all = framed(image);
        std::ofstream(path(name), std::ios::app)
            .write(all.ptr<char>(), static_cast<std::streamsize>(2 * all.total()));
    };
    dump("cold.raw", cold);
    dump("warm.raw", warm);
    for (int i = 0; i < 5; ++i)
        dump("all.raw", readSingleImage(path("raw/frame_00" + std::to_string(i) + ".tif")));
    writeImage(path("framed.tif"), framed(thirty));
    const Outcome dumped =
        run("enhance all.raw -o d.tif --raw 64x49:i16le --crop 64x48+0+1 --pipeline reference "
            "--calibration cold.raw 10 warm.raw framed.tif");
    ASSERT_EQ(dumped.code, 0) << dumped.err;
    EXPECT_EQ(cv::norm(image("d.tif"), expected), 0.0);

    // Stuck pixels, one of them with noise, and one that reads beyond the range of offsets.
    cv::Mat_<short> cold2 = cold.clone(), warm2 = warm.clone();
    cold2(20, 30) = warm2(20, 30) = 12000;
    cold2(30, 20) = 12000, warm2(30, 20) = 12001;
    cold2(10, 40) = 32000, warm2(10, 40) = 32300;
    writeImage(path("cold2.tif"), cold2);
    writeImage(path("warm2.tif"), warm2);
    for (int i = 0; i < 5; ++i) {
        cv::Mat_<short> counts = readSingleImage(path("raw/frame_00" + std::to_string(i) + ".tif"));
        counts(20, 30) = counts(30, 20) = 12000;
        counts(10, 40) = 32000;
        std::filesystem::create_directory(path("stuck"));
        writeImage(path("stuck/frame_00" + std::to_string(i) + ".tif"), counts);
    }
    const Outcome stuck =
        run("enhance stuck -o s.tif --calibration cold2.tif 10 warm2.tif 30 --pipeline float "
            "--reference-index 0");
    EXPECT_NE(stuck.err.find("2 pixels hardly respond"), std::string::npos) << stuck.err;
    EXPECT_NE(stuck.err.find("the line of 1 pixels leaves the range"), std::string::npos) << stuck.err;
    EXPECT_LT(compareWithTruth(image("s.tif"), image("o.tif"), 3).rmse, 0.3);

    writeImage(path("small.tif"), cold(cv::Rect(0, 0, 9, 9)));
    cv::Mat_<ushort> beyond = countsAt(image("b/frame_002.tif"), CV_16U);
    beyond(7, 5) = 40000;
    writeImage(path("raw/frame_002.tif"), beyond);
    const struct {
        const char* arguments;
        int code;
        const char* message;
    } kCases[] = {
        {"--calibration cold.tif 10 warm.tif 30", 2, "raw/frame_002.tif: 40000 at column 5, row 7 is no"},
        {"--nuc --pipeline reference", 2,
         "raw/frame_002.tif: 40000 at column 5, row 7 is no signed 16-bit count"},
        {"--calibration cold.tif 10 thirty.tif 30 --scale 0.25", 2,
         "cold.tif: 27.5 at column 1, row 0 is no"},
        {"--calibration cold.tif 10 cold.tif 30", 2, "hold the same count in 3072 of 3072 pixels"},
        {"--calibration small.tif 10 cold.tif 30", 2,
         "small.tif: is 9 x 9 pixels, but the frames are 64 x 48"},
        {"--calibration cold.tif 10 small.tif 30 --crop 9x9", 2,
         "small.tif: is 9 x 9 pixels, but the frames are 64 x 48"},
        {"--calibration cold.tif 20 warm.tif 20", 2,
         "temperatures 20 and 20 are equal in 3072 of 3072 pixels"},
        {"--calibration cold.tif 10 warm.tif inf", 2, "temperature inf is not a finite number"},
        {"--calibration cold.tif 10 warm.tif 1e5", 2, "leaves the range of gains and offsets between"},
        {"--calibration cold.tif 10 warm.tif 30x", 2, "30x: no such file"},
        {"--calibration cold.tif 10 warm.tif", 1, "--calibration"},
        {"--calibration cold.tif 10 warm.tif 30 --nuc", 1, "excludes"}};
    for (const auto& [arguments, code, message] : kCases) {
        const Outcome outcome = run(std::string("enhance raw -o new.tif ") + arguments);
        EXPECT_EQ(outcome.code, code) << arguments << outcome.err;
        EXPECT_NE(outcome.err.find(message), std::string::npos) << arguments << '\n' << outcome.err;
        EXPECT_FALSE(std::filesystem::exists(path("new.tif")));
    }
}

}  // namespace
}  // namespace oravo::tools
