// What a sensor adds to every frame: taken off by a shutter's frames or a pattern, and learnt from recordings.

#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/tools/Program.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

class FixedPattern : public Program {
  protected:
    static constexpr int kWidth = 64, kHeight = 48;

    /// Columns of up to 0.75 and single pixels of up to 0.35, of no mean.
    static float patternAt(int x, int y) {
        return 0.25f * static_cast<float>((x * 5) % 7 - 3) +
               0.05f * static_cast<float>((x * 31 + y * 17) % 15 - 7);
    }

    static std::string frame(const std::string& folder, int number) {
        return folder + (number < 10 ? "/frame_00" : "/frame_0") + std::to_string(number) + ".tif";
    }

    /// A burst, and the same seen by a sensor with a pattern.
    void record(const std::string& clean, const std::string& spoilt, int frames, int seed) {
        const std::string size =
            " --width " + std::to_string(kWidth) + " --height " + std::to_string(kHeight);
        ASSERT_EQ(run("simulate -o " + clean + size + " --frames " + std::to_string(frames) + " --seed " +
                      std::to_string(seed))
                      .code,
                  0);
        std::filesystem::create_directories(path(spoilt));
        for (int k = 0; k < frames; ++k) {
            cv::Mat_<float> values = image(frame(clean, k));
            for (int y = 0; y < kHeight; ++y) {
                for (int x = 0; x < kWidth; ++x) values(y, x) += patternAt(x, y);
            }
            writeImage(path(frame(spoilt, k)), values);
        }
    }

    double errorOf(const std::string& result) const {
        return compareWithTruth(image(result), image("clean/truth.tif"), 3).rmse;
    }
};

TEST_F(FixedPattern, ALearntOneServesEveryPipeline) {
    record("clean", "burst", 5, 1);
    record("c2", "one", 8, 2);
    record("c3", "two", 8, 3);
    const Outcome learnt = run("pattern learn one two -o p.tif --frames 8");
    ASSERT_EQ(learnt.code, 0) << learnt.err;
    EXPECT_TRUE(says(learnt.err, "from 16 frames in 2 stretches of 2 recordings")) << learnt.err;
    const cv::Mat_<float> pattern = image("p.tif");
    double error = 0.0, all = 0.0;
    for (int y = 4; y < kHeight - 4; ++y) {
        for (int x = 4; x < kWidth - 4; ++x) {
            error += std::pow(pattern(y, x) - patternAt(x, y), 2);
            all += std::pow(patternAt(x, y), 2);
        }
    }
    EXPECT_LT(error, 0.2 * all);

    for (const std::string pipeline : {"precise", "float"}) {
        const std::string enhance = "enhance burst -o o.tif --pipeline " + pipeline + " --fixed-pattern ";
        const int code = run(enhance + "off").code;
        ASSERT_TRUE(code == 0 || code == 6) << code;  // the pattern may pass for a scene that does not fit
        const double without = errorOf("o.tif");
        ASSERT_EQ(run(enhance + "p.tif --report r.json").code, 0);
        EXPECT_LT(errorOf("o.tif"), (pipeline == "precise" ? 0.6 : 0.9) * without) << pipeline;
        EXPECT_EQ(nlohmann::json::parse(text(path("r.json")))["parameters"]["fixed-pattern"], "p.tif");
    }
    // Of the part that is used, a pattern may have the size.
    writeImage(path("q.tif"), pattern(cv::Rect(8, 6, 48, 40)));
    const std::string part = "enhance burst --pipeline float --crop 48x40+8+6 -o ";
    ASSERT_EQ(run(part + "q_out.tif --fixed-pattern q.tif").code, 0);
    ASSERT_EQ(run(part + "p_out.tif --fixed-pattern p.tif").code, 0);
    EXPECT_EQ(cv::norm(image("q_out.tif"), image("p_out.tif")), 0.0);
}

/// A shutter's frames show the pattern, whatever their level.
TEST_F(FixedPattern, AShutterTakesItOff) {
    record("clean", "burst", 5, 1);
    std::filesystem::create_directories(path("shutter"));
    for (int k = 0; k < 2; ++k) {
        cv::Mat_<float> values(kHeight, kWidth);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) values(y, x) = 31.0f + (k == 0 ? 0.5f : -0.5f) + patternAt(x, y);
        }
        values(10, 20) = std::nanf("");
        writeImage(path(frame("shutter", k)), values);
    }
    ASSERT_EQ(run("enhance clean -o c.tif --pipeline float").code, 0);
    const Outcome outcome = run("enhance burst -o o.tif --pipeline float --shutter shutter --report r.json");
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_NEAR(errorOf("o.tif"), errorOf("c.tif"), 0.05 * errorOf("c.tif"));
    EXPECT_EQ(nlohmann::json::parse(text(path("r.json")))["input"]["shutter"], "shutter");
    // Counts stay whole for a calibration, which takes no others.
    const cv::Mat_<short> cold(kHeight, kWidth, short(100)), warm(kHeight, kWidth, short(300));
    cv::Mat_<short> shut(kHeight, kWidth, short(200));
    shut(5, 5) = 207;
    writeImage(path("cold.tif"), cold);
    writeImage(path("warm.tif"), warm);
    writeImage(path("shut.tif"), shut);
    const Outcome counts =
        run("enhance cold.tif cold.tif warm.tif cold.tif cold.tif -o x.tif --shutter shut.tif --no-guard "
            "--pipeline "
            "float --calibration cold.tif 10 warm.tif 30");
    EXPECT_FALSE(says(counts.err, "signed 16-bit count")) << counts.err;
}

TEST_F(FixedPattern, RefusalsNameWhatIsWrong) {
    record("clean", "burst", 5, 1);
    writeImage(path("small.tif"), cv::Mat_<float>(10, 10, 0.0f));
    writeImage(path("even.tif"), cv::Mat_<float>(kHeight, kWidth, 20.0f));
    writeImage(path("empty.tif"), cv::Mat_<float>(kHeight, kWidth, std::nanf("")));
    for (int k = 0; k < 5; ++k) {
        std::filesystem::create_directories(path("still"));
        writeImage(path(frame("still", k)), image(frame("clean", 1)));
    }
    expectRefusals(
        {{"enhance burst -o o.tif --shutter small.tif", 2,
          "small.tif: is 10 x 10 pixels, but the frames are 64 x 48"},
         {"enhance burst -o o.tif --fixed-pattern small.tif", 2, "small.tif: is 10 x 10 pixels"},
         {"enhance burst -o o.tif --shutter empty.tif", 2, "empty.tif: holds no value at all"},
         {"enhance burst -o o.tif --fixed-pattern none.tif", 2, "none.tif: "},
         {"enhance burst -o even.tif --shutter even.tif", 3, "even.tif: is one of the inputs"},
         {"enhance burst -o o.tif --pipeline float --fixed-pattern auto", 1,
          "--fixed-pattern auto: the float pipeline finds no pattern by itself"},
         {"pattern learn burst/frame_000.tif burst/frame_001.tif -o o.tif", 2, "a recording of 2 frames"},
         {"pattern learn clean small.tif -o o.tif", 2, "a recording of 1 frame tells"},
         {"pattern learn still -o o.tif", 4, "in 1 the scene hardly moves, which it has to"},
         {"pattern learn clean -o o.tif", 4, "no fixed pattern could be separated from noise and scene"},
         {"pattern learn clean -o clean/frame_002.tif", 3, "clean/frame_002.tif: is one of the inputs"},
         {"pattern learn clean -o o.png", 3, "o.png"}});
    EXPECT_FALSE(std::filesystem::exists(path("o.tif")));
}

}  // namespace
}  // namespace oravo::tools
