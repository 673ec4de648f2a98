#include <opencv2/core.hpp>

#include "tests/tools/Program.h"
#include "tools/formats/ShiftTable.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/simulate/BurstSimulator.h"

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

}  // namespace
}  // namespace oravo::tools
