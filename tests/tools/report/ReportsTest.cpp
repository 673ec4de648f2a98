#include <cmath>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <set>

#include "tests/tools/Program.h"
#include "tools/base/Guard.h"
#include "tools/base/Messages.h"
#include "tools/formats/ShiftTable.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/pictures/Preview.h"
#include "tools/report/Report.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"

namespace oravo::tools {
namespace {

using Json = nlohmann::json;

TEST(Findings, ArePrintedAndKept) {
    testing::internal::CaptureStderr();
    Findings findings;
    findings.warn("plain");
    findings.warn(Guard{"jump", 7, "frame 7 is odd", "left out"});
    warn("not for the report");
    ASSERT_EQ(findings.all().size(), 2u);
    EXPECT_EQ(findings.all()[0].text, "plain");
    EXPECT_EQ(findings.all()[0].name, "warning");
    EXPECT_EQ(findings.all()[1].frame, std::optional<std::size_t>(7));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("frame 7 is odd; left out\n"), std::string::npos);
}

/// Seven frames, one of which moved too far.
class Reports : public Program {
  protected:
    void SetUp() override {
        ASSERT_EQ(run("simulate -o b --frames 7 --width 64 --height 48 --reference 3 --noise 0.2 "
                      "--shifts '0,0;0.4,0.2;-0.6,0.5;0,0;0.5,0;9.6,0.1;0.1,-0.5'")
                      .code,
                  0);
    }
};

/// The figures of a report are those of the files that the same run wrote.
TEST_F(Reports, FiguresAreThoseOfTheImage) {
    ASSERT_EQ(run("enhance b -o o.tif --shifts s.csv --coverage c.tif --noise-map n.tif --report r.json "
                  "--pipeline float")
                  .code,
              0);
    const Json report = Json::parse(text(path("r.json")));
    const Json& last = report["image"];
    const std::vector<cv::Point2f> shifts = parseShifts(path("s.csv"));
    ASSERT_EQ(last["frames"].size(), shifts.size());
    double shares = 0.0;
    cv::Mat_<float> reference;
    for (std::size_t i = 0; i < shifts.size(); ++i) {
        const Json& frame = last["frames"][i];
        EXPECT_NEAR(frame["shift"][0].get<double>(), static_cast<double>(shifts[i].x), 1e-6);
        EXPECT_NEAR(frame["shift"][1].get<double>(), static_cast<double>(shifts[i].y), 1e-6);
        EXPECT_EQ(frame["status"] == "reference", shifts[i] == cv::Point2f()) << i;
        if (frame["status"] == "reference") reference = image(frame["name"]);
        shares += frame["valid_share"].get<double>();
    }
    const std::optional<Spots> spots = Spots::of(image("o.tif"));
    EXPECT_EQ(last["spots"]["hottest"]["x"], spots->hottest.at.x);
    EXPECT_FLOAT_EQ(last["spots"]["coldest"]["value"].get<float>(), spots->coldest.value);
    EXPECT_FLOAT_EQ(last["spots"]["coldest"]["in_reference_frame"].get<float>(),
                    reference(spots->coldest.at / 2));
    const cv::Mat coverage = readSingleImage(path("c.tif"));
    EXPECT_EQ(coverage.size(), cv::Size(128, 96));
    EXPECT_NEAR(cv::mean(coverage)[0], shares, 1e-9);
    for (std::size_t count = 0; count <= shifts.size(); ++count) {
        const double share = cv::countNonZero(coverage == static_cast<int>(count)) / (128.0 * 96.0);
        EXPECT_NEAR(last["coverage_shares"][count].get<double>(), share, 1e-12);
    }
    EXPECT_NEAR(last["noise_median"].get<double>(), 0.2, 0.1);
    EXPECT_FLOAT_EQ(last["noise_median"].get<float>(), static_cast<float>(medianOf(image("n.tif"))));
}

TEST_F(Reports, SayHowTheImageWasMade) {
    const Outcome done =
        run("enhance b -o '<o>.tif' --preview p.png --report r.json --report r.html --unit '\u00b0C' "
            "--tv-weight 77.7 --pipeline float");
    ASSERT_EQ(done.code, 0) << done.err;
    const Json report = Json::parse(text(path("r.json")));
    EXPECT_EQ(report["image"]["unit"], "\u00b0C");
    EXPECT_EQ(report["parameters"]["tv-weight"], 77.7);
    EXPECT_EQ(report["input"]["frames"], 7);
    EXPECT_GT(report["timings"]["stages_ms"]["minimization"].get<double>(), 0.0);
    ASSERT_EQ(report["guards"].size(), 1u) << report["guards"];  // the frame that moved too far
    EXPECT_TRUE(says(done.err, report["guards"][0]["text"].get<std::string>()));
    EXPECT_EQ(report["guards"][0]["action"], "left out");
    const std::string page = text(path("r.html"));
    EXPECT_TRUE(says(page, "&lt;o&gt;.tif"));
    EXPECT_FALSE(says(page, "<o>"));
    EXPECT_FALSE(says(page, "http:"));  // needs nothing beside itself
    EXPECT_TRUE(says(page, "moved by (9.6"));
}

TEST_F(Reports, SayNothingOfMasksThatAPipelineDoesNotHandOut) {
    ASSERT_EQ(run("enhance b -o v.tif --pipeline vector --report v.json --report v.html").code, 0);
    const Json unmasked = Json::parse(text(path("v.json")))["image"];
    EXPECT_TRUE(unmasked["coverage_shares"].is_null() && unmasked["frames"][0]["valid_share"].is_null());
    EXPECT_TRUE(unmasked["noise_median"].is_number());
    EXPECT_EQ(run("enhance b -o v.tif --pipeline vector --coverage v.png").code, 1);
}

TEST_F(Reports, HaveFilesOfTheirOwn) {
    // An encoding is no part of another decode.
    EXPECT_EQ(run("enhance b -o o.tif --report r.json --encoding kelvin --offset 0").code, 1);
    EXPECT_EQ(run("enhance b -o o.tif --report o.tif").code, 3);
    EXPECT_EQ(run("enhance b -o o.tif --report r.html --report ./r.html").code, 3);
    EXPECT_EQ(run("enhance b -o o.tif --preview ./b/../p.png --coverage p.png").code, 3);
}

/// The names of all figures, but for those of parameters and of other things that have names of their own.
std::set<std::string> keysOf(const Json& json) {
    static const std::set<std::string> kNamed{"versions", "input", "parameters", "stages_ms"};
    std::set<std::string> keys;
    for (const auto& [key, value] : json.items()) {
        if (json.is_object()) keys.insert(key);
        if (!value.is_structured() || kNamed.count(key) != 0) continue;
        keys.merge(keysOf(value));
    }
    return keys;
}

/// A page and its figures for programs, and what they are to begin with.
class Verdicts : public Program {
  protected:
    struct Expected {
        const char* arguments;
        int code;
        const char* level;
        const char* look;
        const char* leftOut;
    };

    void simulateBursts() const {
        ASSERT_EQ(run("simulate -o good --width 64 --height 48 --frames 14 --noise 0.1").code, 0);
        ASSERT_EQ(
            run("simulate -o still --width 64 --height 48 --noise 1 --shifts '0,0;1,0;0,1;2,1;1,1'").code, 0);
        std::filesystem::create_directory(path("noise"));
        for (int i = 0; i < 5; ++i) {
            cv::Mat_<float> frame(48, 64);
            cv::randn(frame, 20.0, 1.0);
            writeImage(path("noise/" + std::to_string(i) + ".tif"), frame);
        }
    }

    static void expectPage(const std::string& page, const std::string& headline, const Expected& expected) {
        const std::size_t top =
            page.find("<main>\n<header class=\"verdict " + std::string(expected.look) + "\">");
        ASSERT_NE(top, std::string::npos);
        EXPECT_LT(page.find(headline + "</h1>", top), top + 400) << headline;
        const std::size_t list = page.find("Left out or corrected");
        EXPECT_LT(list, page.find("<figure"));
        EXPECT_LT(page.find(expected.leftOut, list), page.find("</section>", list));
    }
};

/// What matters stands at the top, in words and in the colour that belongs to them, and programs get the same words.
TEST_F(Verdicts, StandAtTheTop) {
    simulateBursts();
    const Expected kBursts[] = {
        {"good", 0, "better", "good",
         "2 frames before frame 2: an image is made of the newest frames, up to 12."},
        {"still", 0, "caution", "caution", ""},
        {"noise", 6, "doubtful", "bad", "Frames 0, 2 to 4: nothing new in common with the reference frame."},
        {"good --pipeline float", 0, "unmeasured", "unknown",
         "9 frames before frame 9: an image is made of the newest frames, up to 5."}};
    const std::string manual = text(ORAVO_SOURCE "/docs/report.md");
    for (const Expected& burst : kBursts) {
        SCOPED_TRACE(burst.arguments);
        const Outcome done =
            run(std::string("enhance -o o.tif --report r.html --report r.json ") + burst.arguments);
        EXPECT_EQ(done.code, burst.code) << done.err;
        const Json report = Json::parse(text(path("r.json")));
        const Json& image = report["image"];
        EXPECT_EQ(image["verdict"]["level"], burst.level);
        EXPECT_EQ(report["images"][0]["doubtful"], burst.code == 6);
        for (const std::string& key : keysOf(report)) {
            EXPECT_TRUE(says(manual, "`" + key + "`")) << key << " is not in docs/report.md";
        }
        const std::string headline = image["verdict"]["headline"];
        expectPage(text(path("r.html")), headline, burst);
        if (image["decibels_over_bicubic"].is_number() && burst.code == 0) {
            EXPECT_EQ(headline, format("%.1f dB better than bicubic enlargement",
                                       image["decibels_over_bicubic"].get<double>()));
        }
        const std::string reason = burst.code == 6 ? "nothing new in common with the reference frame" : "";
        EXPECT_EQ(burst.code == 6 ? image["left_out"][0].value("reason", "none") : "", reason);
    }
}

/// What a camera cannot measure, and what the library takes for a defect, is no temperature in any output.
TEST_F(Program, ReportsWhatHasNoValueAndWhatIsImplausible) {
    ASSERT_EQ(run("simulate -o b --width 96 --height 72").code, 0);
    const cv::Rect hot(20, 40, 2, 3), dead(60, 12, 3, 3);
    for (int i = 0; i < 5; ++i) {
        const std::string name = path("b/frame_00" + std::to_string(i) + ".tif");
        cv::Mat_<float> frame = readSingleImage(name);
        frame(dead) = floatOf(vision::CODE_BAD_PIXEL);
        frame(hot) = i == 3 ? 20.0f : 5500.0f;
        if (i == 2) frame(41, 21) = 6012.5f;
        writeImage(name, frame);
    }
    const Outcome done =
        run("enhance b --pipeline float -o o.tif --coverage c.tif --report r.json --report r.html --preview "
            "p.png");
    ASSERT_EQ(done.code, 0) << done.err;
    const std::string implausible =
        "24 pixels in 4 of 5 frames lie outside the plausible range -274 .. 5000 and count as defects: what "
        "they show is lost; the most extreme is 6012.5 at (21, 41) in frame 2 (b/frame_002.tif)";
    EXPECT_NE(done.err.find("warning: " + implausible + "; pass --nuc"), std::string::npos) << done.err;
    const cv::Mat_<float> enlarged = image("o.tif");
    const cv::Mat missing = valueMask(enlarged) == 0;
    const int count = cv::countNonZero(missing);
    EXPECT_GT(count, 4);
    EXPECT_LE(count, 36);
    EXPECT_EQ(cv::countNonZero(missing(cv::Rect(110, 16, 30, 20))), count);  // about the dead pixels
    EXPECT_TRUE(std::isnan(enlarged(26, 122)));
    EXPECT_EQ(cv::countNonZero((readSingleImage(path("c.tif")) == 0) & missing), count);
    const std::string withoutValue = ", " + std::to_string(count) + " pixels without a value (NaN)\n";
    EXPECT_NE(done.err.find("1 image of 192 x 144 pixels" + withoutValue), std::string::npos) << done.err;

    const Json report = Json::parse(text(path("r.json")));
    const Json none{{"pixels", count}, {"over_range", 0}, {"under_range", 0}, {"bad", count}};
    EXPECT_EQ(report["image"]["without_value"], none);
    EXPECT_EQ(report["images"][0]["without_value"], none);
    EXPECT_EQ(report["out_of_range"]["pixels"], 24);
    EXPECT_EQ(report["out_of_range"]["most_extreme"],
              (Json{{"value", 6012.5}, {"x", 21}, {"y", 41}, {"frame", 2}, {"name", "b/frame_002.tif"}}));
    EXPECT_TRUE(report["input"]["unit"].is_null() && report["image"]["unit"].is_null());
    const std::string page = text(path("r.html"));
    EXPECT_NE(page.find(implausible), std::string::npos);
    EXPECT_NE(page.find("no value: " + std::to_string(count) + " pixels"), std::string::npos);
}

/// Clusters too large to be refilled, one, two and three of them.
TEST_F(Program, TooHotTooColdAndDefectiveAreCountedApart) {
    ASSERT_EQ(run("simulate -o b --width 96 --height 72 --max-shift 0.9").code, 0);
    const struct {
        const char* key;
        std::uint32_t code;
        std::vector<cv::Point> places;
    } kClusters[] = {{"over_range", vision::CODE_OVER_RANGE, {{20, 12}, {50, 12}, {80, 12}}},
                     {"under_range", vision::CODE_UNDER_RANGE, {{20, 36}, {60, 36}}},
                     {"bad", vision::CODE_BAD_PIXEL, {{20, 58}}}};
    const cv::Size cluster(3, 3);
    for (int i = 0; i < 5; ++i) {
        const std::string name = "b/frame_00" + std::to_string(i) + ".tif";
        cv::Mat_<float> frame = image(name);
        for (const auto& c : kClusters) {
            for (const cv::Point place : c.places) frame(cv::Rect(place, cluster)) = floatOf(c.code);
        }
        writeImage(path(name), frame);
    }
    const Outcome done = run("enhance b -o o.tif --report r.json");
    ASSERT_EQ(done.code, 0) << done.err;
    const Json report = Json::parse(text(path("r.json")));
    const cv::Mat missing = valueMask(image("o.tif")) == 0;
    int all = 0;
    for (const auto& c : kClusters) {
        int here = 0;
        for (const cv::Point place : c.places) {
            here += cv::countNonZero(missing(cv::Rect(2 * place.x - 6, 2 * place.y - 6, 18, 18)));
        }
        EXPECT_GE(here, static_cast<int>(c.places.size())) << c.key;
        EXPECT_EQ(report["image"]["without_value"][c.key], here) << c.key;
        EXPECT_EQ(report["images"][0]["without_value"][c.key], here) << c.key;
        all += here;
    }
    EXPECT_EQ(report["image"]["without_value"]["pixels"], all);
}

}  // namespace
}  // namespace oravo::tools
