#include "tools/input/KnownDefects.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include "tests/tools/Program.h"
#include "tools/defects/DefectList.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

DefectList listOf(cv::Size size, const std::vector<cv::Point>& places) {
    DefectList list;
    list.frameSize = size;
    list.rows.create(static_cast<int>(places.size()), DefectList::kColumns);
    for (int i = 0; i < list.rows.rows; ++i) {
        for (int c = 0; c < DefectList::kColumns; ++c)
            list.rows(i, c) = static_cast<ushort>(c % 2 == 0 ? size.width : size.height);
        list.rows(i, 0) = static_cast<ushort>(places[static_cast<std::size_t>(i)].x);
        list.rows(i, 1) = static_cast<ushort>(places[static_cast<std::size_t>(i)].y);
    }
    return list;
}

/// A list does what frames without these values do, in every window of a recording, whatever part of the frames is used.
TEST_F(Program, EnhanceLeavesOutWhatAListNames) {
    ASSERT_EQ(run("simulate -o b --width 48 --height 36 --frames 6").code, 0);
    std::filesystem::create_directory(path("none"));
    const std::vector<cv::Point> places{{9, 20}, {30, 7}, {47, 34}};
    std::ofstream(path("l.csv")) << defectTable(listOf({48, 36}, places));
    std::ofstream(path("part.csv")) << defectTable(listOf({40, 28}, {{1, 14}, {22, 1}}));
    for (int i = 0; i < 6; ++i) {
        const std::string name = "/frame_00" + std::to_string(i) + ".tif";
        cv::Mat_<float> frame = image("b" + name);
        for (const cv::Point at : places) frame(at) = std::nanf("");
        writeImage(path("none" + name), frame);
        for (const cv::Point at : places) frame(at) = 22.0f + static_cast<float>(at.y);
        writeImage(path("b" + name), frame);
    }
    const struct {
        const char *list, *options, *said;
    } kCases[] = {{"l.csv", "--pipeline float --every", "l.csv: 3 bad pixels of every frame left out\n"},
                  {"l.csv", "--pipeline precise --frames 4", "l.csv: 3 bad"},
                  {"l.csv", "--pipeline reference", "l.csv: 3 bad"},
                  {"l.csv", "--pipeline float --crop 40x28+8+6", "l.csv: 2 bad"},
                  {"part.csv", "--pipeline float --crop 40x28+8+6", "part.csv: 2 bad"}};
    for (const auto& c : kCases) {
        const std::string command = std::string(" -o o.tif --no-metadata ") + c.options;
        ASSERT_EQ(run("enhance none" + command).code, 0) << c.options;
        const std::string expected = text(path("o.tif"));
        const Outcome outcome = run(std::string("enhance b --report r.json --defects ") + c.list + command);
        ASSERT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(text(path("o.tif")), expected) << c.options;
        EXPECT_NE(outcome.err.find(c.said), std::string::npos) << outcome.err;
        EXPECT_NE(text(path("r.json")).find(std::string("\"defects\": \"") + c.list), std::string::npos);
    }
}

/// Clusters, which the library repairs by 0 or not at all, get values of sound pixels beside them.
TEST(KnownDefects, ClustersAreFilledForPipelinesThatRepairSinglePixels) {
    cv::Mat_<uchar> listed(8, 10, uchar{0});
    for (const cv::Point at : {cv::Point(3, 3), {4, 3}, {7, 5}, {0, 0}, {9, 4}}) listed(at) = 1;
    cv::Mat_<float> frame(8, 10);
    for (int i = 0; i < 80; ++i) frame(i / 10, i % 10) = static_cast<float>(i % 10 + 10 * (i / 10));
    cv::Mat_<float> whole = frame.clone(), single = frame.clone();
    KnownDefects({listed, false}).takeOut(frame, false);
    const auto missing = [](const cv::Mat_<float>& of) {
        return std::count_if(of.begin(), of.end(), [](float v) { return std::isnan(v); });
    };
    EXPECT_EQ(missing(frame), 5);
    KnownDefects({listed, true}).takeOut(single, false);
    EXPECT_TRUE(std::isnan(single(5, 7)) && std::isnan(single(4, 9)));
    EXPECT_EQ(missing(single), 2);
    EXPECT_FLOAT_EQ(single(0, 0), 22.0f / 3.0f);
    EXPECT_FLOAT_EQ(single(3, 3), (22 + 23 + 24 + 32 + 42 + 43 + 44) / 7.0f);
    KnownDefects({listed, true}).takeOut(whole, true);
    EXPECT_EQ(whole(0, 0), 7.0f);
    EXPECT_EQ(whole(3, 3), 33.0f);
}

TEST_F(Program, EnhanceRefusesListsThatDoNotFit) {
    ASSERT_EQ(run("simulate -o b --width 12 --height 10").code, 0);
    std::vector<cv::Point> all;
    for (int i = 0; i < 120; ++i) all.emplace_back(i % 12, i / 12);
    std::ofstream(path("all.csv")) << defectTable(listOf({12, 10}, all));
    std::ofstream(path("other.csv")) << defectTable(listOf({13, 10}, {}));
    std::ofstream(path("outside.csv")) << defectTable(listOf({12, 10}, {{12, 3}}));
    expectRefusals(
        {{"--defects all.csv", 2, "all.csv: lists every pixel, and nothing is left to make an image of"},
         {"--defects other.csv", 2,
          "other.csv: line 1: is a list for frames of 13 x 10 pixels, but b/frame_0"},
         {"--defects outside.csv", 2, "outside.csv: line 3: x = 12 lies outside the frame of 12 x 10 pixels"},
         {"--defects none.csv", 2, "none.csv: cannot be opened"},
         {"--defects b/frame_000.tif", 2, "b/frame_000.tif: line 1: "},
         {"--defects ''", 1, "the text is empty"},
         {"--defects all.csv --pipeline vector", 1, "the vector pipeline takes every pixel as it is"},
         {"--defects all.csv --shifts all.csv", 3, "all.csv: is one of the inputs"}},
        "enhance b -o o.tif ");
    EXPECT_FALSE(std::filesystem::exists(path("o.tif")));
}

}  // namespace
}  // namespace oravo::tools
