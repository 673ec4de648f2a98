#include "tools/enhance/PreciseRunner.h"

#include <nlohmann/json.hpp>

#include "tests/tools/Program.h"
#include "tools/formats/ShiftTable.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

using Json = nlohmann::json;

class Precise : public Program {
  protected:
    double errorOf(const std::string& result) const {
        return compareWithTruth(image(result), image("b/truth.tif"), 3).rmse;
    }
    std::string frame(int number) const { return "b/frame_00" + std::to_string(number) + ".tif"; }
};

TEST_F(Precise, OptionsWithoutUseAreRefusedWithTheReason) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    expectRefusals(
        {{"--tv-weight 100", 1,
          "--tv-weight: the precise pipeline chooses the weight of its prior by itself"},
         {"--iterations 9", 1,
          "--iterations: the precise pipeline goes on until the image no longer changes"},
         {"--registration corners", 1,
          "--registration: the precise pipeline aligns frames by a fit of its own"},
         {"--registration-error 0.1", 1, "; --pipeline float takes this option"},
         {"--timing", 1, "--timing: the precise pipeline prints no report"},
         {"--pipeline float --frames 5", 1, "--frames: the float pipeline makes each image of five frames"},
         {"--pipeline vector --smoothness 1", 1, "--smoothness: the vector pipeline takes a --tv-weight"},
         {"--frames 65", 1, "65"},
         {"--threads 65", 1, "--threads: Value 65 not in range 0 to 64"},
         {"--pipeline vector --threads 2", 1, "--threads: the vector pipeline works on one thread"},
         {"--pipeline float --psf-box 2", 1,
          "--psf-box: the float pipeline takes the whole blur for a Gaussian"},
         {"--smoothness nan", 1, "nan"},
         {"--frames 3 --reference-index 3", 1,
          "--reference-index 3: an image is made of 3 frames, counted back from 0 to 2"},
         {"--pipeline float --reference-index 5", 1, "is made of 5 frames, counted back from 0 to 4"},
         {"--reference-index 7", 1, "--reference-index 7: only 5 frames are given"},
         {"--psf-sigma 2.5", 1, "Blur of 2.5 pixels is not from 0.3 to 2."}},
        "enhance b -o o.tif ");
    EXPECT_EQ(entries(), 1u);
}

/// More frames than five come around the reference, which stays the fourth from the newest; steps of the level between
/// them are none of the scene.
TEST_F(Precise, TakesUpToTwelveFramesWhateverTheirLevel) {
    ASSERT_EQ(run("simulate -o b --frames 15 --width 48 --height 36 --noise 0.5").code, 0);
    for (int i = 0; i < 10; i += 3) writeImage(path(frame(i)), image(frame(i)) + 1.5 * i);
    const Outcome all = run("enhance b -o all.tif --report r.json --shifts s.csv --coverage c.tif");
    ASSERT_EQ(all.code, 0) << all.err;
    EXPECT_FALSE(says(all.err, "warning")) << all.err;
    EXPECT_TRUE(says(all.err, "\nframes 3 to 14: ") &&
                says(all.err, " dB better than bicubic at withheld pixels"))
        << all.err;
    EXPECT_TRUE(says(text(path("s.csv")), "reference is frame 11\n"));
    const auto found = parseShifts(path("s.csv"));
    const auto given = parseShifts(path("b/shifts.csv"));
    for (std::size_t i = 0; i < found.size(); ++i) {
        EXPECT_LT(cv::norm(found[i] - given[i + 3]), 0.03) << i;
    }
    const Json report = Json::parse(text(path("r.json")));
    ASSERT_EQ(report["image"]["frames"].size(), 12u);
    EXPECT_NEAR(report["image"]["frames"][3]["offset"], 9.0, 0.5);  // frame 6
    EXPECT_NEAR(report["image"]["precise"]["noise"], 0.5, 0.1);
    EXPECT_GT(report["image"]["decibels_over_bicubic"], 1.0);
    EXPECT_EQ(report["parameters"]["frames"], 12);
    EXPECT_FALSE(report["parameters"].contains("tv-weight"));
    double low = 0.0, high = 0.0;
    cv::minMaxLoc(readSingleImage(path("c.tif")), &low, &high);
    EXPECT_GT(high, 10.0);
    EXPECT_LE(high, 12.0);

    ASSERT_EQ(run("enhance b -o three.tif --frames 3").code, 0);
    EXPECT_LT(errorOf("all.tif"), errorOf("three.tif"));
}

TEST_F(Precise, SaysWhatThereIsToDoubt) {
    ASSERT_EQ(run("simulate -o b --width 48 --height 36").code, 0);
    const Outcome single = run("enhance " + frame(1) + " -o o.tif --noise-map n.tif");
    EXPECT_EQ(single.code, 6);
    EXPECT_TRUE(says(single.err, "1 of 1 image is not known to be better than bicubic enlargement\n"))
        << single.err;
    EXPECT_TRUE(says(single.err, "warning: frame 0: the image rests on the reference frame alone"))
        << single.err;
    EXPECT_LT(errorOf("o.tif"),
              compareWithTruth(bicubic(image(frame(1)), {96, 72}), image("b/truth.tif"), 3).rmse);
    EXPECT_EQ(image("n.tif").size(), cv::Size(96, 72));

    cv::Mat_<float> other(36, 48);
    cv::RNG(5).fill(other, cv::RNG::NORMAL, 20.0, 3.0);
    writeImage(path(frame(3)), other);
    const Outcome foreign = run("enhance b -o foreign.tif --report r.json --report r.html");
    EXPECT_TRUE(
        says(foreign.err,
             "warning: frame 3: nothing new in common with the reference frame, 1, was found; left out"))
        << foreign.err;
    EXPECT_TRUE(says(foreign.err, "\nframes 0 to 2, 4: ")) << foreign.err;
    const Json report = Json::parse(text(path("r.json")));
    const Json leftOut{{"number", 3},
                       {"name", "b/frame_003.tif"},
                       {"reason", "nothing new in common with the reference frame"}};
    EXPECT_EQ(report["image"]["left_out"], Json::array({leftOut}));
    EXPECT_EQ(report["image"]["frames"].size(), 4u);
    EXPECT_TRUE(says(text(path("r.html")), "left out: nothing new in common with the reference"));

    writeImage(path(frame(1)), cv::Mat_<float>(36, 48, 6000.0f));
    const Outcome refused = run("enhance b -o refused.tif");
    EXPECT_EQ(refused.code, 4);
    EXPECT_TRUE(says(refused.err, "no enlarged image: The reference frame has no value in [-274, 5000]."))
        << refused.err;
}

TEST_F(Precise, EveryBeginsWithTheFifthFrame) {
    ASSERT_EQ(run("simulate -o b --frames 6 --width 32 --height 24").code, 0);
    ASSERT_EQ(run("enhance b -o each/ --every").code, 0);
    EXPECT_FALSE(std::filesystem::exists(path("each/frame_000003.tif")));
    ASSERT_EQ(run("enhance " + frame(0) + ' ' + frame(1) + ' ' + frame(2) + ' ' + frame(3) + ' ' + frame(4) +
                  " -o fifth.tif")
                  .code,
              0);
    EXPECT_EQ(cv::norm(image("each/frame_000004.tif"), image("fifth.tif")), 0.0);
    ASSERT_EQ(run("enhance b -o last.tif").code, 0);
    EXPECT_EQ(cv::norm(image("each/frame_000005.tif"), image("last.tif")), 0.0);
}

/// Of frames that hardly move none could be found.
TEST_F(Precise, DeadPixelsStayKnownOverARecording) {
    ASSERT_EQ(run("simulate -o b --width 48 --height 36 --noise 0.1 --shifts "
                  "'0,0;0.6,-0.4;-0.7,0.5;0.3,0.8;-0.5,-0.6;0,0;0,0;0,0;0,0'")
                  .code,
              0);
    for (int i = 0; i < 9; ++i) {
        cv::Mat_<float> values = image(frame(i));
        values(12, 20) = values(25, 31) = 45.0f;
        writeImage(path(frame(i)), values);
    }
    const Outcome every = run("enhance b -o each/ --every --frames 5");
    EXPECT_TRUE(says(every.err, "\nframes 4 to 8: ")) << every.err;
    const std::string last = every.err.substr(every.err.find("\nframes 4 to 8: "));
    EXPECT_TRUE(says(last, ", 2 dead pixels left out")) << every.err;
}

}  // namespace
}  // namespace oravo::tools
