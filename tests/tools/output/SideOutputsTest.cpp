#include "tests/tools/Program.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

/// An output by its option; what stands before it, and its extension.
struct Output {
    const char* command;
    const char* extension;
};

class SideOutputs : public Program {
  protected:
    /// Under another name of an input, each output is refused for the first input, the first output for each, and the input
    /// stays.
    void expectRefused(const std::vector<Output>& outputs, const std::vector<std::string>& inputs,
                       const std::string& reason) const {
        for (const std::string& input : inputs) {
            const std::string before = text(path(input));
            ASSERT_NE(before, "") << input;
            for (const Output& output : outputs) {
                if (&input != &inputs[0] && &output != &outputs[0]) break;
                SCOPED_TRACE(std::string(output.command) + input);
                const std::string alias = std::string("alias") + output.extension;
                fs::create_symlink(path(input), path(alias));
                const Outcome outcome = run(std::string(output.command) + alias);
                EXPECT_EQ(outcome.code, 3);
                EXPECT_NE(outcome.err.find("oravo-superres: " + alias + reason + "\n"), std::string::npos)
                    << outcome.err;
                EXPECT_EQ(text(path(input)), before);
                EXPECT_TRUE(fs::is_symlink(path(alias)));
                fs::remove(path(alias));
            }
        }
    }
};

TEST_F(SideOutputs, OfEnhanceNeverReplaceAnInput) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    writeImage(path("cold.tif"), cv::Mat(48, 64, CV_16S, cv::Scalar(1000)));
    writeImage(path("warm.tif"), cv::Mat(48, 64, CV_16S, cv::Scalar(2000)));
    writeImage(path("ten.tif"), cv::Mat_<float>(48, 64, 10.0f));
    writeImage(path("thirty.tif"), cv::Mat_<float>(48, 64, 30.0f));
    expectRefused(
        {{"enhance b --calibration cold.tif ten.tif warm.tif thirty.tif -o ", ".tif"},
         {"enhance b --calibration cold.tif ten.tif warm.tif thirty.tif -o o.tif --shifts ", ".csv"},
         {"enhance b --calibration cold.tif ten.tif warm.tif thirty.tif -o o.tif --preview ", ".png"},
         {"enhance b --calibration cold.tif ten.tif warm.tif thirty.tif -o o.tif --coverage ", ".png"},
         {"enhance b --calibration cold.tif ten.tif warm.tif thirty.tif -o o.tif --noise-map ", ".tif"},
         {"enhance b --calibration cold.tif ten.tif warm.tif thirty.tif -o o.tif --report ", ".json"},
         {"enhance b --calibration cold.tif ten.tif warm.tif thirty.tif -o o.tif --report r.html --report ",
          ".html"}},
        {"b/frame_000.tif", "b/frame_004.tif", "cold.tif", "ten.tif", "warm.tif", "thirty.tif"},
        ": is one of the inputs");
    EXPECT_FALSE(fs::exists(path("o.tif")));
}

TEST_F(SideOutputs, OfOtherCommandsNeverReplaceAnInput) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    expectRefused({{"evaluate b/truth.tif b/truth.tif --reference b/frame_001.tif --picture ", ".png"}},
                  {"b/truth.tif", "b/frame_001.tif"}, ": is an input");
    expectRefused({{"evaluate b/frame_002.tif b/frame_003.tif --picture ", ".png"}},
                  {"b/frame_002.tif", "b/frame_003.tif"}, ": is an input");
    for (const char* name : {"m.png", "n.png"}) {
        writeImage(path(name), cv::Mat(8, 8, CV_16U, cv::Scalar(1000)));
    }
    ASSERT_EQ(run("defects detect m.png n.png -o list.csv").code, 0);
    expectRefused({{"defects detect m.png n.png -o ", ".csv"},
                   {"defects detect m.png n.png -o new.csv --marked ", ".png"}},
                  {"m.png", "n.png"}, ": is one of the inputs");
    expectRefused({{"defects repair list.csv m.png -o ", ".tif"}}, {"m.png"}, ": is one of the inputs");
    expectRefused({{"defects repair list.csv m.png -o ", ".tif"}}, {"list.csv"},
                  ": is the list of bad pixels");
    EXPECT_FALSE(fs::exists(path("new.csv")));
}

TEST_F(SideOutputs, OfMapsAreNumbersAndPicturesAndPreviewsAreOfEveryImage) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48 --frames 7").code, 0);
    const std::string command = "enhance b -o all.tif --every --pipeline float ";
    const Outcome done = run(command +
                             "--preview p/ --coverage c.tif --coverage c.png --noise-map n.png "
                             "--noise-map n.tif");
    ASSERT_EQ(done.code, 0) << done.err;
    EXPECT_EQ(readSingleImage(path("c.tif")).size(), cv::Size(128, 96));
    EXPECT_EQ(readSingleImage(path("n.tif")).type(), CV_32F);
    for (const char* picture : {"c.png", "n.png"}) EXPECT_GT(fs::file_size(path(picture)), 2000u) << picture;
    std::vector<std::string> previews;
    for (const auto& entry : fs::directory_iterator(path("p"))) previews.push_back(entry.path().filename());
    std::sort(previews.begin(), previews.end());
    EXPECT_EQ(previews,
              (std::vector<std::string>{"preview_000004.png", "preview_000005.png", "preview_000006.png"}));

    EXPECT_NE(run(command + "--preview p").err.find("p: already holds preview_00000"), std::string::npos);
    EXPECT_NE(run(command + "--preview b").err.find("b: is a folder of input frames\n"), std::string::npos);
    const Outcome single = run("enhance b -o o.tif --preview p");
    EXPECT_EQ(single.code, 3);
    EXPECT_NE(single.err.find("p: a folder takes the previews of --every\n"), std::string::npos)
        << single.err;
}

/// Each pair of outputs may be mistaken for each other by another way of writing the same name.
TEST_F(SideOutputs, AreFilesOfTheirOwn) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    const std::vector<Output> pictures{
        {"--preview", ".png"}, {"--coverage", ".png"}, {"--noise-map", ".png"}};
    for (const Output& a : pictures) {
        for (const Output& b : pictures) {
            if (a.command == b.command && a.command == pictures[0].command) continue;  // given once
            const Outcome outcome =
                run(std::string("enhance b -o o.tif ") + a.command + " x.png " + b.command + " b/../x.png");
            EXPECT_EQ(outcome.code, 3);
            EXPECT_NE(outcome.err.find("x.png: is named for two outputs\n"), std::string::npos)
                << outcome.err;
        }
    }
    for (const char* option : {"--coverage", "--noise-map"}) {
        EXPECT_EQ(run(std::string("enhance b -o o.tif ") + option + " ./o.tif").code, 3) << option;
    }
    EXPECT_EQ(run("enhance b -o o.tif --report x.json --report ./x.json").code, 3);
    EXPECT_EQ(entries(), 1u);
}

}  // namespace
}  // namespace oravo::tools
