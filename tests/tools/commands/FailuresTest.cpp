// What the program does where it cannot do what was asked.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <vector>

#include "tests/tools/Program.h"
#include "tools/base/Messages.h"
#include "tools/commands/Commands.h"
#include "tools/enhance/Pipelines.h"
#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/memory/ReservedMemory.h"

namespace oravo::tools {
namespace {

/// Commands that fail, on a recording `b` and on others that no image can be made of.
class Failures : public Program {
  protected:
    void SetUp() override {
        ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
        ASSERT_EQ(run("simulate -o four --frames 4 --width 64 --height 48").code, 0);
        ASSERT_EQ(run("simulate -o far --width 64 --height 48 --shifts '0,0;0,0;0,0;0,0;0,0'").code, 0);
        for (int i = 0; i < 5; ++i) {
            writeImage(path("far/frame_00" + std::to_string(i) + ".tif"), cv::Mat_<float>(48, 64, 20.0f));
        }
    }

    /// Each fails with the code, one line, nothing on standard output, and no new file.
    void expect(int code, const std::vector<const char*>& commands) const {
        const std::size_t before = entries();
        for (const char* command : commands) {
            const Outcome outcome = run(command);
            EXPECT_EQ(outcome.code, code) << command << '\n' << outcome.err;
            EXPECT_EQ(outcome.out, "") << command;
            const std::size_t complaintAt = outcome.err.find("oravo-superres: ");
            ASSERT_NE(complaintAt, std::string::npos) << command << '\n' << outcome.err;
            EXPECT_EQ(outcome.err.find('\n', complaintAt), outcome.err.size() - 1) << command << outcome.err;
            EXPECT_EQ(entries(), before) << command;
        }
    }
};

TEST_F(Failures, OfOptionsHaveTheCodeOfUsage) {
    expect(1, {"",
               "enhanse b -o o.tif",
               "enhance b -o ''",
               "enhance b -o o.tif --camera ''",
               "enhance b",
               "enhance b -o o.tif --psf-sigma nan",
               "enhance b -o o.tif --psf-sigma 0",
               "enhance b -o o.tif --reference-index 5",
               "enhance b -o o.tif --registration-error 1.5",
               "enhance b -o o.tif --camera '101 FOV 3' --psf-sigma 1",
               "enhance b -o o.tif --encoding furlongs",
               "enhance b -o o.tif --encoding kelvin --scale 2",
               "enhance b -o o.tif --scale 0",
               "enhance b -o o.tif --raw 64x48",
               "enhance b -o o.tif --palette plaid",
               "enhance b -o o.tif --pipeline fixed",
               "enhance b -o o.tif --pipeline reference --registration corners",
               "enhance b -o o.tif --pipeline reference --reference-index 3",
               "simulate -o new --frames 3 --shifts '0,0;1,1'",
               "simulate -o new --defects 900 --width 64 --height 48"});
}

TEST_F(Failures, OfInputsHaveTheirCode) {
    expect(2, {"enhance b/frame_000.tif -o o.tif --raw 64x48:u16le", "enhance b -o o.tif --crop 65x48",
               "enhance nothing -o o.tif", "enhance four -o o.tif --pipeline float",
               "enhance four -o new/ --every", "enhance /dev/null -o o.tif",
               "enhance b four/../b/truth.tif -o o.tif", "evaluate b/frame_000.tif b/truth.tif"});
}

TEST_F(Failures, OfOutputsHaveTheirCode) {
    expect(3, {"enhance b -o o.tif --preview p.jpg", "enhance b -o o.tif --coverage nowhere/c.tif",
               "enhance b -o nowhere/o.tif", "enhance b -o o.jpg", "enhance b -o b/frame_004.tif",
               "enhance b -o b/../b/ --every", "enhance b -o b", "enhance b -o new/",
               "enhance b -o o.tif --shifts nowhere/s.csv", "evaluate b/truth.tif b/truth.tif >/dev/full",
               "simulate -o b --frames 3 --width 64 --height 48"});
}

TEST_F(Failures, OfReconstructionsHaveTheirCode) {
    expect(4, {"enhance far -o o.tif --no-guard --pipeline float"});
    const std::size_t before = entries();
    EXPECT_EQ(run("enhance far -o new/ --every --no-guard --pipeline float").code,
              4);  // with a warning for each refused frame
    EXPECT_EQ(entries(), before);
}

TEST_F(Program, ManualsListTheExitCodes) {
    for (const char* command : {"", "enhance ", "simulate ", "evaluate "}) {
        const Outcome help = run(std::string(command) + "--help");
        EXPECT_EQ(help.code, 0);
        EXPECT_NE(help.out.find("Exit codes"), std::string::npos) << command;
    }
}

TEST_F(Program, SaysWhichNumberOrSizeIsWrong) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    expectRefusals(
        {{"--registration-error 1e-50", 1, "1e-50 is not a number above 0 to 1 "},
         {"--relative-residue 1e-6", 1, "1e-6 is not a number from 1.00000011e-06 "},
         {"--tv-weight 1e39", 1, "1e39 is not a number from 1 to 3.40282347e+38 "},
         {"--pipeline float --registration phase --crop 63x48", 1, "; --crop 62x48 leaves a column out"},
         {"--pipeline float --registration phase --crop 64x1", 2, "phase correlation takes at least 2 x 2"},
         {"--crop 7x48", 2, "7 x 48 pixels are too small; the precise pipeline takes at least 8 x 8"},
         {"--pipeline float --crop 2x48", 2,
          "2 x 48 pixels are too small; aligning them by corners takes at least 3 x 3"},
         {"--shift-right 2", 2, "is no whole number; --shift-right drops bits of counts"}},
        "enhance b -o new.tif ");
    expectRefusals(
        {{"simulate -o new --seed -1", 1, "-1 is not a whole number from 0 to 18446744073709551615"},
         {"simulate -o new --seed 18446744073709551616", 1, "is not a whole number"},
         {"evaluate b/truth.tif b/truth.tif --reference b", 2, "b: is a folder, not an image"}});
    EXPECT_EQ(
        run("enhance b --pipeline float -o o.tif --relative-residue 1.00000011e-6 --tv-weight 0.99999999")
            .code,
        0);
}

/// Shifts against the second of five frames, the first and the last of which hardly move.
std::string burstWithOneFarFrame(const std::string& third, const std::string& size) {
    return "simulate -o far --reference 1 --noise 0 --shifts '0.2,0.1;0,0;" + third + ";0.4,0.3;0.7,0.1' " +
           size;
}

TEST_F(Program, NamesTheFrameThatMovedTooFar) {
    ASSERT_EQ(run(burstWithOneFarFrame("11,0", "--width 320 --height 20")).code, 0);
    const Outcome refused = run("enhance far -o o.tif --no-guard --pipeline float");
    EXPECT_EQ(refused.code, 4);
    EXPECT_NE(refused.err.find("no enlarged image: frame 2 moved by (11."), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find(" pixels, half the frame height or more\n"), std::string::npos) << refused.err;
    EXPECT_EQ(entries(), 1u);
    std::filesystem::remove_all(path("far"));
    ASSERT_EQ(run(burstWithOneFarFrame("0.1,13", "--width 160 --height 120")).code, 0);
    const Outcome warned = run("enhance far -o o.tif --no-guard --pipeline float");
    EXPECT_EQ(warned.code, 0);
    EXPECT_NE(warned.err.find("warning: frame 4: frame 2 moved by (0.1, 13.0) pixels, more than a tenth of"),
              std::string::npos)
        << warned.err;
}

/// A frame that cannot be used costs the images of the windows that hold it, and no others.
TEST_F(Program, ARecordingGoesOnAfterABadFrame) {
    ASSERT_EQ(run("simulate -o b --frames 11 --width 64 --height 48").code, 0);
    cv::Mat_<float> bad = image("b/frame_005.tif");
    bad(cv::Rect(20, 20, 9, 9)) = floatOf(vision::CODE_BAD_PIXEL);
    writeImage(path("b/frame_005.tif"), bad);
    const Outcome guarded = run("enhance b -o guarded/ --every --pipeline float");
    EXPECT_NE(guarded.err.find("guarded/: 6 images of 128 x 96 pixels, none for frames 5\n"),
              std::string::npos)
        << guarded.err;
    EXPECT_FALSE(std::filesystem::exists(path("guarded/frame_000005.tif")));
    const Outcome outcome = run("enhance b -o each/ --every --no-guard --pipeline float");
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("each/: 2 images of 128 x 96 pixels, none for frames 5 to 9\n"),
              std::string::npos);
    FrameReader files({path("each")});
    ASSERT_EQ(files.count(), 2u);
    EXPECT_EQ(files.name(0), path("each/frame_000004.tif"));
    EXPECT_EQ(files.name(1), path("each/frame_000010.tif"));
    std::filesystem::remove(path("b/frame_010.tif"));
    EXPECT_EQ(run("enhance b -o last.tif --no-guard --pipeline float").code,
              4);  // its window still holds the bad frame
    EXPECT_EQ(run("enhance b -o last.tif --pipeline float").code, 0);
    EXPECT_EQ(cv::norm(image("last.tif"), image("guarded/frame_000009.tif")), 0.0);
}

/// The last of a run's files is the one that there is no room for.
TEST_F(Program, AFailedOutputLeavesAllOthersAsTheyWere) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    writeText(path("o.tif"), "before");
    struct rlimit before {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const struct rlimit room { 60000, before.rlim_max };
    ::setrlimit(RLIMIT_FSIZE, &room);
    const Outcome outcome = run("enhance --pipeline float b -o o.tif --shifts s.csv --report r.html");
    ::setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(outcome.code, 3);
    EXPECT_NE(outcome.err.find("r.html: cannot be written: File too large\n"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(text(path("o.tif")), "before");
    EXPECT_EQ(entries(), 2u);
}

TEST(Sizes, ThatCannotBeEnlargedAreNamedWithTheirFile) {
    PipelineParameters parameters;
    parameters.kind = PipelineKind::floatingPoint;
    settlePipeline(parameters);
    for (const cv::Size size : {cv::Size(40000, 20000), cv::Size(3, 16777217)}) {
        EXPECT_EQ(complaint([&] { requireUsableSize(size, parameters, "a.raw"); }, ExitCode::kInput),
                  format("a.raw: frames of %d x %d pixels are too large to be enlarged by 2", size.width,
                         size.height));
    }
    requireUsableSize({20000, 20000}, parameters, "a.raw");
}

/// Files and devices that never end, or claim without end, are refused early and in few words.
TEST_F(Program, ReadsNoMoreThanItNeeds) {
    constexpr long kMost = 400 << 10;  // KiB; the program alone takes 60 MiB
    const auto peak = [] {
        struct rusage used {};
        ::getrusage(RUSAGE_CHILDREN, &used);
        return used.ru_maxrss;
    };
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    const long before = std::max(peak(), kMost);
    const std::uintmax_t kHuge = 3'000'000'000;
    std::ofstream(path("x.csv"));
    std::filesystem::resize_file(path("x.csv"), kHuge);
    const std::string header = "{'descr': '|u1', 'fortran_order': False, 'shape': (1000000000, 1, 2), }";
    std::ofstream(path("x.npy"), std::ios::binary)
        << "\x93NUMPY\x01" << '\0' << static_cast<char>(header.size()) << '\0' << header;
    std::filesystem::resize_file(path("x.npy"), 10 + header.size() + 2'000'000'000);
    expectRefusals(
        {{"defects repair /dev/zero b -o n/", 2, "/dev/zero: line 1: is longer than any line of a list"},
         {"defects merge b x.csv -o n.csv", 2, "b: cannot be read"},
         {"simulate -o n --shifts x.csv", 2,
          "x.csv: \"????????????????????????????????????????...\" is longer"},
         {"evaluate x.csv b/truth.tif", 2, "x.csv: is larger than 1 GiB, too large for one image"},
         {"enhance x.npy -o n.tif", 2, "x.npy frame 0: frames of 2 x 1 pixels are too small"},
         {"simulate -o n --width 8192 --height 8192 --frames 100000", 2,
          "100000 frames of 8192 x 8192 pixels need more memory than there is"}});
    EXPECT_LE(peak(), before);
}

/// Where nothing is left, what takes much of it is refused before it begins, with the name of its input.
TEST_F(Program, EveryCommandChecksItsMemory) {
    ASSERT_EQ(run("simulate -o b --width 320 --height 240").code, 0);
    std::ofstream text(path("large.csv"));
    for (int i = 0; i < 2000 * 1000; ++i) text << "7" << (i % 1000 == 999 ? '\n' : ';');
    text.close();
    std::ofstream(path("dark.raw"));
    std::filesystem::resize_file(path("dark.raw"), 5 * 880 * 880);
    EnhanceCommand enlarge;
    enlarge.inputs = {path("dark.raw")};
    enlarge.reading.raw = parseRawFormat("880x880:u8");
    enlarge.output = path("o.tif");
    SimulateCommand render;
    render.folder = path("new");
    render.width = 640;
    render.height = 480;
    EvaluateCommand compare;
    compare.result = compare.truth = path("b/truth.tif");
    struct Hoard {  // each piece too small to be checked
        const std::size_t kPiece = std::size_t{15} << 20, kPieces = 1 << 20;
        Hoard() {
            for (std::size_t i = 0; i < kPieces; ++i) vision::detail::reserveMemory(kPiece);
        }
        ~Hoard() { vision::detail::releaseMemory(kPiece * kPieces); }
    } hoard;
    const std::pair<std::function<void()>, std::string> kCases[] = {
        {[&] { enhance(enlarge); }, path("dark.raw") + " frame 0: frames of 880 x 880 pixels"},
        {[&] { simulate(render); }, "5 frames of 640 x 480 pixels"},
        {[&] { evaluate(compare); }, path("b/truth.tif") + ": images of 640 x 480 pixels"},
        {[&] { readSingleImage(path("large.csv")); }, path("large.csv") + ": its numbers"}};
    for (const auto& [command, what] : kCases) {
        EXPECT_EQ(complaint(command, ExitCode::kInput), what + " need more memory than there is");
    }
    EXPECT_EQ(entries(), 3u);
}

TEST_F(Program, FramesBeyondTheMemoryAreRefused) {
    constexpr std::uint64_t kSide = 32768;
    if (20 * kSide * kSide < 4096ull * static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) / 4 * 3) {
        GTEST_SKIP() << "so much memory that the frame may fit";
    }
    std::ofstream(path("large.raw"));
    std::filesystem::resize_file(path("large.raw"), 5 * 8 * kSide * kSide);
    const Outcome outcome = run("enhance large.raw --raw 32768x32768:f64le -o o.tif");
    EXPECT_EQ(outcome.code, 2);
    EXPECT_EQ(outcome.err,
              "oravo-superres: large.raw: frames of 32768 x 32768 pixels need more memory than there is\n");
}

}  // namespace
}  // namespace oravo::tools
