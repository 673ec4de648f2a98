#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/tools/Scratch.h"
#include "tools/Commands.h"
#include "tools/Decode.h"
#include "tools/FrameReader.h"
#include "tools/ImageWriter.h"
#include "tools/Metrics.h"
#include "tools/ShiftTable.h"

namespace oravo::tools {
namespace {

/// Runs the program itself.
class Program : public Scratch {
  protected:
    struct Outcome {
        int code;
        std::string out;
        std::string err;
    };

    Outcome run(const std::string& arguments) const {
        const std::string base = folder_.string() + "-run";
        const std::string line = std::string(ORAVO_SUPERRES) + " " + arguments + " >" + base + ".out 2>" +
                                 base + ".err </dev/null";
        const int status = std::system(("cd " + folder_.string() + " && " + line).c_str());
        Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, text(base + ".out"),
                        text(base + ".err")};
        std::filesystem::remove(base + ".out");
        std::filesystem::remove(base + ".err");
        return outcome;
    }

    static std::string text(const std::string& file) {
        std::stringstream all;
        all << std::ifstream(file).rdbuf();
        return all.str();
    }

    cv::Mat_<float> image(const std::string& name) const { return readSingleImage(path(name)); }
};

TEST_F(Program, EnlargesASimulatedBurstBetterThanBicubic) {
    for (const char* noise : {"0", "0.05", "0.2"}) {
        std::filesystem::remove_all(path("b"));
        ASSERT_EQ(run(std::string("simulate -o b --defects 8 --seed 2 --noise ") + noise).code, 0);
        const Outcome enhanced = run("enhance b -o o.tif --shifts s.csv");
        ASSERT_EQ(enhanced.code, 0) << enhanced.err;
        EXPECT_EQ(enhanced.out, "");
        const Quality ours = compareWithTruth(image("o.tif"), image("b/truth.tif"), 3);
        const cv::Mat_<float> plain = bicubic(repaired(image("b/frame_001.tif")), {320, 240});
        EXPECT_LT(ours.rmse, 0.8 * compareWithTruth(plain, image("b/truth.tif"), 3).rmse) << noise;
        const auto found = parseShifts(path("s.csv"));
        const auto given = parseShifts(path("b/shifts.csv"));
        ASSERT_EQ(found.size(), given.size());
        for (std::size_t i = 0; i < found.size(); ++i) EXPECT_LT(cv::norm(found[i] - given[i]), 0.05) << i;
    }
    const Outcome evaluated = run("evaluate o.tif b/truth.tif --reference b/frame_001.tif --picture c.png");
    EXPECT_EQ(evaluated.code, 0) << evaluated.err;
    EXPECT_NE(evaluated.out.find("bicubic"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(path("c.png")));
    EXPECT_NE(run("enhance b -o o.tif --timing").out.find("minimization"), std::string::npos);
}

TEST_F(Program, EveryGivesOneImagePerFrameFromTheFifth) {
    ASSERT_EQ(run("simulate -o b --frames 7 --width 64 --height 48").code, 0);
    ASSERT_EQ(run("enhance b -o all.tif --every").code, 0);
    ASSERT_EQ(run("enhance b -o each/ --every").code, 0);
    ASSERT_EQ(run("enhance b -o last.tif").code, 0);
    FrameReader pages({path("all.tif")});
    FrameReader files({path("each")});
    ASSERT_EQ(pages.count(), 3u);
    ASSERT_EQ(files.count(), 3u);
    EXPECT_EQ(files.name(0), path("each/frame_000004.tif"));
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(cv::norm(pages.read(i), files.read(i)), 0.0);
    EXPECT_EQ(cv::norm(pages.read(2), image("last.tif")), 0.0);
}

TEST_F(Program, DecodesCountsAndSaysWhatMendsImplausibleOnes) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    std::filesystem::create_directory(path("counts"));
    for (int i = 0; i < 5; ++i) {
        const std::string name = "/frame_00" + std::to_string(i) + ".tif";
        cv::Mat counts;
        image("b" + name).convertTo(counts, CV_16U, 50.0, 10000.0);
        writeImage(path("counts" + name), counts);
    }
    ASSERT_EQ(run("enhance b -o degrees.tif").code, 0);
    const Outcome decoded = run("enhance counts -o decoded.tif --scale 0.02 --offset -200");
    EXPECT_EQ(decoded.code, 0) << decoded.err;
    EXPECT_EQ(decoded.err.find("warning"), std::string::npos) << decoded.err;
    EXPECT_LT(compareWithTruth(image("decoded.tif"), image("degrees.tif"), 3).rmse, 0.05);
    const Outcome plain = run("enhance counts -o plain.tif");
    EXPECT_EQ(plain.code, 4);
    EXPECT_NE(plain.err.find("outside the plausible range -274 .. 5000; pass --nuc"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(path("plain.tif")));
    const Outcome nuc = run("enhance counts -o nuc.tif --nuc");
    EXPECT_EQ(nuc.code, 0) << nuc.err;
    EXPECT_EQ(nuc.err.find("warning"), std::string::npos) << nuc.err;
}

TEST_F(Program, FailsWithItsCodeOneLineAndNoFile) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    ASSERT_EQ(run("simulate -o four --frames 4 --width 64 --height 48").code, 0);
    ASSERT_EQ(run("simulate -o far --width 64 --height 48 --shifts '0,0;0,0;0,0;0,0;0,0'").code, 0);
    for (int i = 0; i < 5; ++i) {
        writeImage(path("far/frame_00" + std::to_string(i) + ".tif"), cv::Mat_<float>(48, 64, 20.0f));
    }
    const std::size_t before = entries();
    const struct {
        const char* arguments;
        int code;
    } kCases[] = {{"", 1},
                  {"enhance b", 1},
                  {"enhance b -o o.tif --psf-sigma nan", 1},
                  {"enhance b -o o.tif --psf-sigma 0", 1},
                  {"enhance b -o o.tif --reference-index 5", 1},
                  {"enhance b -o o.tif --registration-error 1.5", 1},
                  {"enhance b -o o.tif --camera '101 FOV 3' --psf-sigma 1", 1},
                  {"simulate -o new --frames 3 --shifts '0,0;1,1'", 1},
                  {"enhance nothing -o o.tif", 2},
                  {"enhance four -o o.tif", 2},
                  {"enhance b four/../b/truth.tif -o o.tif", 2},
                  {"evaluate b/frame_000.tif b/truth.tif", 2},
                  {"enhance b -o nowhere/o.tif", 3},
                  {"enhance b -o o.jpg", 3},
                  {"simulate -o b --frames 3 --width 64 --height 48", 3},
                  {"enhance far -o o.tif", 4}};
    for (const auto& c : kCases) {
        const Outcome outcome = run(c.arguments);
        EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.err;
        EXPECT_EQ(outcome.out, "") << c.arguments;
        const std::size_t complaintAt = outcome.err.find("oravo-superres: ");
        ASSERT_NE(complaintAt, std::string::npos) << c.arguments << '\n' << outcome.err;
        EXPECT_EQ(outcome.err.find('\n', complaintAt), outcome.err.size() - 1) << c.arguments << outcome.err;
        EXPECT_EQ(entries(), before) << c.arguments;
    }
    for (const char* command : {"", "enhance ", "simulate ", "evaluate "}) {
        const Outcome help = run(std::string(command) + "--help");
        EXPECT_EQ(help.code, 0);
        EXPECT_NE(help.out.find("Exit codes"), std::string::npos) << command;
    }
}

}  // namespace
}  // namespace oravo::tools
