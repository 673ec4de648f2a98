#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/Program.h"
#include "tools/commands/DefectsCommand.h"
#include "tools/defects/DefectList.h"
#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

const std::string kHeader =
    "# oravo bad pixels, format 1, width 40, height 30\nx,y,x1,y1,x2,y2,x3,y3,x4,y4\n";

class Defects : public Program {
  protected:
    int run(const std::string& arguments) {
        last_ = Program::run("defects " + arguments);
        return last_.code;
    }
    std::string text(const std::string& name) const { return Program::text(path(name)); }
    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    bool says(const std::string& words) const { return tools::says(last_.err, words); }

    /// Values from base to base + 49, each many times, and one defect of each kind: dead, stuck, odd.
    static cv::Mat scene(int type, int base, int dead, int stuck) {
        cv::Mat_<int> counts(30, 40);
        for (int i = 0; i < 1200; ++i) counts(i / 40, i % 40) = base + i * 7 % 50;
        counts(3, 5) = dead;
        counts(20, 39) = stuck;
        counts(11, 7) = base + 500;
        cv::Mat frame;
        counts.convertTo(frame, type);
        return frame;
    }

    /// Frames and lists that commands refuse, beside those that they take.
    void writeOddInputs() const {
        cv::imwrite(path("f.png"), scene(CV_16U, 7000, 0, 16383));
        cv::imwrite(path("large.png"), cv::Mat_<ushort>(300, 300, ushort{0}));
        cv::Mat_<ushort> wide(260, 260, ushort{9});  // most counts occur once
        for (int i = 0; i < 67600; ++i) wide(i / 260, i % 260) = static_cast<ushort>(1 + i % 65000);
        cv::imwrite(path("wide.png"), wide);
        cv::imwrite(path("small.png"), cv::Mat_<ushort>(5, 5, ushort{9}));
        cv::imwrite(path("byte.png"), cv::Mat_<uchar>(5, 5, uchar{9}));
        writeImage(path("signed.tif"), scene(CV_16S, 0, 0, 9));
        write("l.csv", kHeader);
        write("bad.csv", kHeader + "1\n");
        write("other.csv",
              "# oravo bad pixels, format 1, width 4, height 3\n" + kHeader.substr(kHeader.find("x,")));
        std::filesystem::create_directory(path("in"));
        cv::imwrite(path("in/f.png"), scene(CV_16U, 7000, 0, 16383));
    }

    Outcome last_{};  ///< of run()
};

TEST_F(Defects, ListSurvivesItsFile) {
    DefectList list;
    list.frameSize = {65535, 300};
    for (int seed = 0; seed < 50; ++seed) {
        cv::Mat_<ushort> row(1, 10);
        for (int c = 0; c < 10; ++c)
            row(c) = static_cast<ushort>((seed * 7919 + c * 104729) % (c % 2 ? 300 : 65535));
        list.rows.push_back(row);
    }
    list.rows(7, 2) = 65535;  // no replacement pixel known
    list.rows(7, 3) = 300;
    for (const int rows : {50, 0}) {
        list.rows = list.rows.rowRange(0, rows).clone();
        if (rows == 0) list.rows = cv::Mat_<ushort>(0, 10);
        write("l.csv", defectTable(list));
        const DefectList back = readDefectList(path("l.csv"));
        EXPECT_EQ(back.frameSize, list.frameSize);
        ASSERT_EQ(back.rows.rows, rows);
        EXPECT_EQ(back.withoutReplacement(), rows == 0 ? 0 : 1);
        if (rows == 0) continue;
        EXPECT_EQ(cv::norm(back.rows, list.rows, cv::NORM_INF), 0.0);
    }
}

TEST_F(Defects, MalformedListIsRefusedWithLineAndValue) {
    const std::string row = "1,2,1,3,0,2,1,1,2,2\n";
    const struct {
        std::string text;
        const char* complaint;
    } kCases[] = {
        {"", "line 1: is missing"},
        {"x,y\n", "line 1: must read"},
        {"# oravo bad pixels, format 2, width 40, height 30\n", "line 1: must read"},
        {"# oravo bad pixels, format 1, width 0, height 30\n", "line 1: width \"0\" is not"},
        {"# oravo bad pixels, format 1, width 40, height 65536\n", "line 1: height \"65536\" is not"},
        {kHeader.substr(0, kHeader.find("x,")) + row, "line 2: must name the columns"},
        {kHeader.substr(0, kHeader.find("x,")), "line 2: must name the columns"},
        {kHeader + row + "1,2,3\n", "line 4: has 3 values"},
        {kHeader + "1,2,1,3,0,2,1,1,2,2,9\n", "line 3: has 11 values"},
        {kHeader + "\n", "line 3: x \"\" is not a whole number"},
        {kHeader + "1,2,1,3,0,-2,1,1,2,2\n", "line 3: y2 \"-2\" is not a whole number"},
        {kHeader + "1,2,1,3,0,2,1,1.5,2,2\n", "line 3: y3 \"1.5\" is not"},
        {kHeader + "1,2,1,3,0,2,1,1,70000,2\n", "line 3: x4 \"70000\" is not"},
        {kHeader + row + row + "40,2,1,3,0,2,1,1,2,2\n", "line 5: x = 40 lies outside the frame of 40 x 30"},
        {kHeader + "40,30,1,3,0,2,1,1,2,2\n", "line 3: x = 40 lies outside"},
        {kHeader + "1,2,1,30,0,2,1,1,2,2\n", "line 3: y1 = 30 lies outside"},
        {kHeader + row + "1,2,1,3,0,2,1,1,2,2", "line 4: ends without a line break"},
        {kHeader + std::string(1000, '1') + "\n", "line 3: is longer than any line"},
        {"# oravo bad pixels, format 1, width 65535, height 65535\n",
         "line 1: no frame has 65535 x 65535 pixels"},
        {"# oravo bad pixels, format 1, width 1, height 1\n" + kHeader.substr(kHeader.find("x,")) +
             "0,0,1,1,1,1,1,1,1,1\n0,0,1,1,1,1,1,1,1,1\n",
         "line 4: is one more than the frame has pixels"}};
    for (const auto& c : kCases) {
        write("l.csv", c.text);
        const std::string message = complaint([&] { readDefectList(path("l.csv")); }, ExitCode::kInput);
        EXPECT_NE(message.find(path("l.csv") + ": " + c.complaint), std::string::npos)
            << message << "\nfor " << c.text;
    }
    write("l.csv",
          "# oravo bad pixels, format 1, width 40, height 30\r\n" + kHeader.substr(kHeader.find("x,")));
    EXPECT_EQ(readDefectList(path("l.csv")).rows.rows, 0);
}

TEST_F(Defects, FindsEachKindAndRepairsItToTheMeanOfItsNeighbours) {
    const struct {
        const char* name;
        int type, base, dead, stuck;
        const char* options;
        int rounding;  // added before the division; 3 where counts are shifted to below zero
    } kCases[] = {{"fourteen", CV_16U, 7000, 0, 16383, "", 0},
                  {"sixteen", CV_16U, 30000, 0, 65535, "", 3},
                  {"signed", CV_16S, -200, -32768, 32767, "", 0},
                  {"given", CV_16S, -200, -1000, 2000, "--low -900 --high 1999", 0}};
    for (const auto& c : kCases) {
        const cv::Mat frame = scene(c.type, c.base, c.dead, c.stuck);
        writeImage(path("f.tif"), frame);
        ASSERT_EQ(run(std::string("detect f.tif -o l.csv --marked m.png ") + c.options), 0) << last_.err;
        EXPECT_TRUE(says("f.tif: 2 out of range, 1 isolated, 3 of them new")) << c.name << last_.err;
        const DefectList list = readDefectList(path("l.csv"));
        ASSERT_EQ(list.rows.rows, 3) << c.name;
        EXPECT_EQ(text("l.csv").find(kHeader + "5,3,5,4,4,3,5,2,6,3\n39,20,"), 0u) << text("l.csv");
        EXPECT_EQ(cv::Point(list.rows(2, 0), list.rows(2, 1)), cv::Point(7, 11)) << c.name;
        const cv::Mat_<cv::Vec3b> marked = cv::imread(path("m.png"));
        EXPECT_EQ(marked.size(), cv::Size(160, 120));
        EXPECT_EQ(marked(4 * 11, 4 * 7 + 3), cv::Vec3b(0, 0, 255));

        ASSERT_EQ(run("repair l.csv f.tif -o r.tif"), 0) << last_.err;
        const cv::Mat repaired = readSingleImage(path("r.tif"));
        ASSERT_EQ(repaired.type(), c.type) << c.name;
        cv::Mat_<int> expected;
        frame.convertTo(expected, CV_32S);
        for (int i = 0; i < 3; ++i) {
            int sum = 0;
            for (int k = 2; k < 10; k += 2) sum += expected(list.rows(i, k + 1), list.rows(i, k));
            const int rounding = sum / 4 > 32767 ? 0 : c.rounding;
            expected(list.rows(i, 1), list.rows(i, 0)) = (sum + rounding) / 4;
        }
        cv::Mat_<int> got;
        repaired.convertTo(got, CV_32S);
        EXPECT_EQ(cv::norm(got, expected, cv::NORM_INF), 0.0) << c.name;
    }
}

TEST_F(Defects, FramesAndListsAreMergedWithoutRepeats) {
    cv::Mat first = scene(CV_16U, 7000, 0, 16383);
    cv::Mat second = scene(CV_16U, 7000, 0, 16383);
    second.at<ushort>(4, 5) = 0;  // a replacement pixel of (5, 3)
    for (const char* name : {"a.png", "b.png"}) cv::imwrite(path(name), name[0] == 'a' ? first : second);
    ASSERT_EQ(run("detect a.png -o a.csv"), 0);
    ASSERT_EQ(run("detect b.png -o b.csv"), 0);
    ASSERT_EQ(run("detect a.png b.png -o both.csv"), 0);
    EXPECT_TRUE(says("b.png: 3 out of range, 1 isolated, 1 of them new")) << last_.err;
    ASSERT_EQ(run("merge b.csv a.csv -o merged.csv"), 0) << last_.err;
    EXPECT_EQ(text("merged.csv"), text("both.csv"));
    EXPECT_EQ(text("merged.csv").find("5,4,5,3"), std::string::npos);
    EXPECT_EQ(readDefectList(path("merged.csv")).rows.rows, 4);
    ASSERT_EQ(run("merge a.csv merged.csv -o merged.csv"), 0);
    EXPECT_EQ(text("merged.csv"), text("both.csv"));
    ASSERT_EQ(run("repair both.csv a.png b.png -o r/"), 0) << last_.err;
    ASSERT_EQ(run("detect r -o none.csv --marked none.png"), 0) << last_.err;
    EXPECT_EQ(text("none.csv"), kHeader);
    EXPECT_TRUE(std::filesystem::exists(path("none.png")));
}

TEST_F(Defects, FailuresHaveTheirCodeAndSayWhatToChange) {
    writeOddInputs();
    expectRefusals(
        {{"", 1, "subcommand"},
         {"detect f.png", 1, "--output"},
         {"detect f.png -o n.csv --span 1", 1, "--span"},
         {"detect f.png -o n.csv --low 50 --high 50", 1, "--low 50 is not below --high 50"},
         {"detect f.png -o n.csv --low -1 --high 65535", 1, "take --low from 0"},
         {"detect signed.tif -o n.csv --high 40000", 1, "take at most 32767"},
         {"detect byte.png -o n.csv", 2, "no counts of 16 bits"},
         {"detect f.png small.png -o n.csv", 2, "5 x 5"},
         {"repair bad.csv f.png -o n.tif", 2, "bad.csv: line 3: has 1 values"},
         {"repair other.csv f.png -o n.tif", 2,
          "other.csv: line 1: is a list for frames of 4 x 3 pixels, but f.png"},
         {"merge other.csv l.csv -o n.csv", 2, "other.csv: line 1: is a list for frames of 4 x 3 pixels"},
         {"detect f.png -o n.txt", 3, ".csv"},
         {"repair l.csv signed.tif -o n.png", 3, ".tif"},
         {"repair l.csv f.png f.png -o n.tif", 3, "2 frames go to a folder"},
         {"repair l.csv in -o in", 3, "is the folder of the frames"},
         {"detect large.png -o n.csv", 4,
          "90000 pixels are out of range (at most 0 or at least 4095), more than the "
          "65535 that one search lists: lower --low or raise --high"},
         {"detect wide.png -o n.csv --max-count 65535", 4, "lower --max-count 65535 or raise --span 100"}},
        "defects ");
    for (const char* name : {"n.csv", "n.tif", "n.png", "n.txt"}) {
        EXPECT_FALSE(std::filesystem::exists(path(name))) << name;
    }
}

TEST_F(Defects, AListOfEveryPixelRepairsNothing) {
    cv::imwrite(path("small.png"), cv::Mat_<ushort>(5, 5, ushort{9}));
    ASSERT_EQ(run("detect small.png -o n.csv --low 9"), 0);  // all bad: nothing is left to replace them
    EXPECT_TRUE(says("warning: n.csv: lists every pixel, and no healthy one is left")) << last_.err;
    EXPECT_EQ(run("repair n.csv small.png -o n.tif"), 2);
    EXPECT_TRUE(says("n.csv: lists every pixel, and no healthy one is left")) << last_.err;
}

TEST_F(Defects, ASearchListsAsManyPixelsAsItsManualSays) {
    run("detect --help");
    EXPECT_TRUE(last_.out.find("more than 65534 bad pixels, or more than 65535 when all are out of range") !=
                std::string::npos)
        << last_.out;
    const struct {
        int dead, odd, code;
    } kCases[] = {{65535, 0, 0}, {65536, 0, 4}, {65524, 10, 0}, {65525, 10, 4}};
    for (const auto& c : kCases) {
        cv::Mat_<ushort> frame(257, 256, ushort{1000});
        for (int i = 0; i < c.dead; ++i) frame(i / 256, i % 256) = 0;
        for (int i = 0; i < c.odd; ++i) frame(256, i) = static_cast<ushort>(2000 + 300 * i);
        writeImage(path("f.tif"), frame);
        EXPECT_EQ(run("detect f.tif -o l.csv"), c.code) << c.dead << " + " << c.odd << last_.err;
        if (c.code == 0) {
            EXPECT_EQ(readDefectList(path("l.csv")).rows.rows, c.dead + c.odd);
            continue;
        }
        EXPECT_TRUE(says(c.odd == 0 ? "65536 pixels are out of range" : ": more than 65534 pixels are"))
            << last_.err;
    }
}

TEST_F(Defects, RecordedLatticeIsFoundAndRepaired) {
    const char* data = std::getenv("ORAVO_TEST_DATA");
    if (data == nullptr) GTEST_SKIP() << "ORAVO_TEST_DATA names no folder of recordings";
    const std::string frames = std::string(data) + "/defects/seek_floor/";
    ASSERT_EQ(run("detect " + frames + "raw.tif " + frames + "cal.tif -o l.csv"), 0) << last_.err;
    const DefectList list = readDefectList(path("l.csv"));
    const cv::Mat_<uchar> listed = list.mask();
    const cv::Mat_<ushort> raw = readSingleImage(frames + "raw.tif");
    EXPECT_EQ(cv::countNonZero(((raw == 0) | (raw == 16383)) & ~listed), 0);
    EXPECT_EQ(cv::countNonZero(listed.col(207)), listed.rows);
    EXPECT_LT(list.rows.rows - cv::countNonZero(raw == 0), 20);  // few besides the lattice
    EXPECT_EQ(list.withoutReplacement(), 0);
    ASSERT_EQ(run("repair l.csv " + frames + "raw.tif -o r.tif"), 0);
    const cv::Mat_<ushort> repaired = readSingleImage(path("r.tif"));
    EXPECT_EQ(cv::countNonZero((repaired != raw) & ~listed), 0);
    EXPECT_EQ(cv::countNonZero((repaired < 4000) | (repaired > 11000)), 0);
}

}  // namespace
}  // namespace oravo::tools
