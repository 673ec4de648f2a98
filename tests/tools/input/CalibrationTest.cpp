// Raw counts turned into temperatures by two frames of known temperature.

#include "tools/input/Calibration.h"

#include <cmath>
#include <fstream>
#include <opencv2/imgproc.hpp>

#include "tests/tools/Program.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::tools {
namespace {

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

/// A burst of counts, and what the library makes of it.
class Calibrated : public Program {
  protected:
    static std::string frame(const std::string& folder, int number) {
        return folder + "/frame_00" + std::to_string(number) + ".tif";
    }

    void SetUp() override {
        ASSERT_EQ(run("simulate -o b --reference 4 --noise 0.02 --width 64 --height 48").code, 0);
        std::filesystem::create_directory(path("raw"));
        vision::SuperResolution library(kSize.width, kSize.height, 5, 2.0f);
        library.setNucToRad(cold_, ten_, warm_, thirty_);
        writeImage(path("cold.tif"), cold_);
        writeImage(path("warm.tif"), warm_);
        writeImage(path("thirty.tif"), thirty_);
        testing::internal::CaptureStdout();
        for (int i = 0; i < 5; ++i) {
            const cv::Mat_<short> counts = countsAt(image(frame("b", i)), CV_16S);
            writeImage(path(frame("raw", i)), counts);
            library.processFrame2(counts.ptr<short>(), expected_.ptr<float>());
        }
        testing::internal::GetCapturedStdout();
    }

    const cv::Size kSize{64, 48}, kDoubled{128, 96};
    const cv::Mat_<float> ten_{kSize, 10.0f}, thirty_{kSize, 30.0f};
    const cv::Mat_<short> cold_{countsAt(ten_, CV_16S)}, warm_{countsAt(thirty_, CV_16S)};
    cv::Mat_<float> expected_{kDoubled};
};

TEST_F(Calibrated, CountsBecomeTheTemperaturesOfTheReferencePipeline) {
    const std::string command =
        "enhance raw -o o.tif --calibration cold.tif 10 warm.tif thirty.tif --pipeline ";
    const Outcome reference = run(command + "reference");
    ASSERT_EQ(reference.code, 0) << reference.err;
    EXPECT_EQ(cv::norm(image("o.tif"), expected_), 0.0);
    ASSERT_EQ(run(command + "float --reference-index 0").code, 0);
    EXPECT_LT(
        compareWithTruth(image("o.tif"), image("b/truth.tif"), 3).rmse,
        0.8 * compareWithTruth(bicubic(image("b/frame_004.tif"), kDoubled), image("b/truth.tif"), 3).rmse);
}

TEST_F(Calibrated, DumpsBehindARowOfTelemetryAreCropped) {
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
    dump("cold.raw", cold_);
    dump("warm.raw", warm_);
    for (int i = 0; i < 5; ++i)
        dump("all.raw", readSingleImage(path("raw/frame_00" + std::to_string(i) + ".tif")));
    writeImage(path("framed.tif"), framed(thirty_));
    const Outcome dumped =
        run("enhance all.raw -o d.tif --raw 64x49:i16le --crop 64x48+0+1 --pipeline reference "
            "--calibration cold.raw 10 warm.raw framed.tif");
    ASSERT_EQ(dumped.code, 0) << dumped.err;
    EXPECT_EQ(cv::norm(image("d.tif"), expected_), 0.0);
}

/// One of them with noise, and one that reads beyond the range of offsets.
TEST_F(Calibrated, StuckPixelsAreDefects) {
    ASSERT_EQ(
        run("enhance raw -o o.tif --calibration cold.tif 10 warm.tif 30 --pipeline float --reference-index 0")
            .code,
        0);
    cv::Mat_<short> cold2 = cold_.clone(), warm2 = warm_.clone();
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
}

TEST_F(Calibrated, RefusalsNameWhatIsWrong) {
    writeImage(path("small.tif"), cold_(cv::Rect(0, 0, 9, 9)));
    cv::Mat_<ushort> beyond = countsAt(image("b/frame_002.tif"), CV_16U);
    beyond(7, 5) = 40000;
    writeImage(path("raw/frame_002.tif"), beyond);
    expectRefusals(
        {{"--calibration cold.tif 10 warm.tif 30", 2, "raw/frame_002.tif: 40000 at column 5, row 7 is no"},
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
         {"--calibration cold.tif 10 warm.tif 30 --nuc", 1, "excludes"}},
        "enhance raw -o new.tif ");
    EXPECT_FALSE(std::filesystem::exists(path("new.tif")));
}

}  // namespace
}  // namespace oravo::tools
