#include <sys/stat.h>

#include <fstream>
#include <limits>
#include <opencv2/imgcodecs.hpp>

#include "support/Exception.h"
#include "tests/tools/Scratch.h"
#include "tools/base/FileNames.h"
#include "tools/enhance/Pipelines.h"
#include "tools/formats/ShiftTable.h"
#include "tools/input/FrameReader.h"
#include "tools/output/ImageFile.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Decode.h"
#include "tools/values/Encoding.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/memory/ReservedMemory.h"

namespace oravo::tools {
namespace {

using Files = Scratch;

/// What the library's buffers hold is counted where the program asks how much memory is left.
TEST(Memory, OfLibraryAndProgramIsCountedTogether) {
    const auto inUse = [] {
        try {
            vision::detail::reserveMemory(std::numeric_limits<std::size_t>::max() / 4);
        } catch (const Exception& e) {
            const std::string text = e.message();
            return std::stoull(text.substr(text.find("beside ") + 7));
        }
        return 0ull;
    };
    const auto before = inUse();
    PipelineParameters parameters;
    parameters.kind = PipelineKind::floatingPoint;
    settlePipeline(parameters);
    const std::unique_ptr<Pipeline> pipeline = makePipeline({320, 240}, parameters);
    EXPECT_GT(inUse(), before + 20u * 320 * 240 * sizeof(float));
}

TEST_F(Files, FolderComesInNaturalOrderAndFramesHideOtherImages) {
    for (const char* name : {"frame_10.png", "frame_9.PNG", "frame_002.png", "truth.png", ".frame_1.png"}) {
        cv::imwrite(path(name), cv::Mat_<uchar>(3, 4, uchar{7}));
    }
    const FrameReader reader({folder_.string()});
    ASSERT_EQ(reader.count(), 3u);
    EXPECT_EQ(reader.name(0), path("frame_002.png"));
    EXPECT_EQ(reader.name(1), path("frame_9.PNG"));
    EXPECT_EQ(reader.name(2), path("frame_10.png"));
    EXPECT_TRUE(naturallyLess("a99999999999999999998", "a99999999999999999999"));
    EXPECT_FALSE(naturallyLess("a1", "a1"));
}

/// What would be a frame is read or refused; what hides or has another name is neither.
TEST_F(Files, NoFrameOfAFolderIsLeftOutInSilence) {
    for (const char* name : {"a.png", ".b.png", "c.png"})
        cv::imwrite(path(name), cv::Mat_<uchar>(3, 4, uchar{7}));
    std::filesystem::create_directory(path("d.png"));
    for (const char* name : {".e.png", "notes.md"}) std::filesystem::create_symlink("nowhere", path(name));
    std::filesystem::create_symlink(path("a.png"), path("f.png"));
    const FrameReader reader({folder_.string()});
    ASSERT_EQ(reader.count(), 3u);
    EXPECT_EQ(reader.name(1), path("c.png"));
    EXPECT_EQ(reader.name(2), path("f.png"));
    const auto list = [&] { FrameReader({folder_.string()}); };
    std::filesystem::create_symlink("nowhere", path("b.png"));
    EXPECT_EQ(complaint(list, ExitCode::kInput), path("b.png: is a link to a file that is not there"));
    std::filesystem::remove(path("b.png"));
    ASSERT_EQ(::mkfifo(path("b.png").c_str(), 0600), 0);
    EXPECT_EQ(complaint(list, ExitCode::kInput), path("b.png: is a pipe, not a file of frames"));
}

TEST_F(Files, PagesOfFloatTiffKeepEveryBitInAnyOrder) {
    std::vector<cv::Mat> pages;
    for (std::uint32_t i = 0; i < 37; ++i) {
        cv::Mat_<float> page(5, 6, static_cast<float>(i) - 0.3f);
        page(2, 3) = floatOf(0x81 + i);
        page(4, 5) = std::numeric_limits<float>::quiet_NaN();
        pages.push_back(page);
    }
    PendingFiles files;
    TiffPages file(files, path("many.tif"), 0);
    for (const cv::Mat& page : pages) file.add(page);
    file.close();
    commit(files);
    EXPECT_EQ(entries(), 1u);
    FrameReader reader({path("many.tif")});
    ASSERT_EQ(reader.count(), 37u);
    for (const std::size_t i : {36u, 0u, 16u, 15u, 31u}) {
        const cv::Mat page = reader.read(i);
        ASSERT_EQ(page.type(), CV_32FC1);
        EXPECT_EQ(std::memcmp(page.data, pages[i].data, 4 * page.total()), 0) << i;
    }
}

TEST_F(Files, EveryKindOfFrameIsReadAsStored) {
    const cv::Mat_<ushort> counts(3, 4, ushort{40000});
    for (const char* name : {"a.png", "a.tif", "a.pgm"}) {
        cv::imwrite(path(name), counts);
        EXPECT_EQ(cv::norm(readSingleImage(path(name)), counts, cv::NORM_INF), 0.0) << name;
    }
}

TEST_F(Files, TargetsAppearWholeOrNotAtAll) {
    writeText(path("kept.tif"), "before");
    {
        PendingFiles forgotten;
        TiffPages(forgotten, path("kept.tif"), 0).add(cv::Mat_<float>(3, 3, 1.0f));
    }
    EXPECT_NE(complaint([&] { writeImage(path("kept.png"), cv::Mat()); }, ExitCode::kOutput), "");
    EXPECT_EQ(std::filesystem::file_size(path("kept.tif")), 6u);
    std::filesystem::create_directories(path("taken.txt/inside"));
    EXPECT_NE(complaint([&] { writeText(path("taken.txt"), "x"); }, ExitCode::kOutput), "");
    EXPECT_EQ(entries(), 2u);
    for (const bool all : {false, true}) {
        PendingFiles files;
        for (const char* name : {"kept.tif", "new.txt"}) writeText(files, path(name), "after it");
        if (!all) writeText(files, path("taken.txt"), "x");
        EXPECT_EQ(complaint([&] { commit(files); }, ExitCode::kOutput).empty(), all);
        files.clear();
        EXPECT_EQ(std::filesystem::file_size(path("kept.tif")), all ? 8u : 6u);
        EXPECT_EQ(entries(), all ? 3u : 2u);
    }
    ASSERT_EQ(::mkfifo(path("pipe.tif").c_str(), 0600), 0);
    for (const char* target : {"nowhere/a.tif", "taken.txt", "a.jpg", "a", "pipe.tif"}) {
        const auto check = [&] { checkTarget(path(target), {".tif", ".txt"}); };
        EXPECT_EQ(complaint(check, ExitCode::kOutput).rfind(path(target) + ": ", 0), 0u) << target;
    }
}

TEST(Decode, LeavesCodesAloneAndScalesTheRest) {
    const Decode centikelvin = encodingNamed("centikelvin").decode;
    cv::Mat_<float> frame(1, 6, 30000.0f);
    const std::uint32_t codes[] = {vision::CODE_OVER_RANGE, vision::CODE_UNDER_RANGE, vision::CODE_BAD_PIXEL,
                                   vision::CODE_INVALID};
    for (int i = 0; i < 4; ++i) frame(0, i) = floatOf(codes[i]);
    frame(0, 4) = floatOf(0x83);  // no code
    const cv::Mat_<float> decoded = centikelvin(frame);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(bitsOf(decoded(0, i)), codes[i]);
    EXPECT_FLOAT_EQ(decoded(0, 4), -273.15f);
    EXPECT_FLOAT_EQ(decoded(0, 5), 26.85f);
    EXPECT_EQ(bitsOf(Decode{}(frame)(0, 4)), 0x83u);
    EXPECT_FLOAT_EQ(centikelvin(cv::Mat_<ushort>(1, 1, ushort{0x81}))(0, 0), 1.29f - 273.15f);
    const Decode leftAligned{0.5, 1.0, 2, ""};
    EXPECT_EQ(leftAligned(cv::Mat_<ushort>(1, 1, ushort{403}))(0, 0), 51.0f);
    EXPECT_EQ(leftAligned(cv::Mat_<short>(1, 1, short{-5}))(0, 0), 0.0f);
    frame(0, 4) = floatOf(vision::CODE_INVALID);
    frame(0, 5) = 403.0f;
    EXPECT_EQ(leftAligned(frame, "a.tif")(0, 5), 51.0f);
    frame(0, 5) = 403.5f;
    EXPECT_EQ(complaint([&] { leftAligned(frame, "a.tif"); }, ExitCode::kInput),
              "a.tif: 403.5 at column 5, row 0 is no whole number; --shift-right drops bits of counts");
}

TEST_F(Files, ShiftsSurviveTheirTable) {
    const std::vector<cv::Point2f> shifts{{0.0f, 0.0f}, {-1.25f, 0.5f}};
    writeText(path("s.csv"), shiftTable(shifts, {3, 4}, "a comment, with commas"));
    EXPECT_EQ(parseShifts(path("s.csv")), shifts);
    EXPECT_EQ(parseShifts("0,0;-1.25, 0.5"), shifts);
    writeText(path("headed.csv"), "# one\n# two\nframe,dx,dy\n0,0,0\n# three\n1,-1.25,0.5\n");
    EXPECT_EQ(parseShifts(path("headed.csv")), shifts);
    const std::pair<const char*, const char*> kFaults[] = {{"frame,dx,dy\nagain\n0,0,0\n", "again"},
                                                           {"frame,dx,dy\n0,0,0\n1,x,0.5\n", "1,x,0.5"},
                                                           {"0,0,0\nframe,dx,dy\n", "frame,dx,dy"}};
    for (const auto& [table, line] : kFaults) {
        writeText(path("wrong.csv"), table);
        EXPECT_EQ(complaint([&] { parseShifts(path("wrong.csv")); }, ExitCode::kInput),
                  path("wrong.csv: \"") + line + "\" is not a shift dx,dy");
    }
    for (const char* text : {"0,0;x,1", "0;1", "nan,0", ","}) {
        EXPECT_NE(complaint([&] { parseShifts(text); }, ExitCode::kInput), "") << text;
    }
}

}  // namespace
}  // namespace oravo::tools
