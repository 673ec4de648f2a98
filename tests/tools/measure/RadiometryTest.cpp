// What temperatures are worth: bursts whose truth is known, taken by a camera that is not the solvers'.

#include "tools/measure/Radiometry.h"

#include <cmath>
#include <nlohmann/json.hpp>

#include "tests/tools/Program.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/simulate/Camera.h"

namespace oravo::tools {
namespace {

using Json = nlohmann::json;

const cv::Size kFrame(128, 96);
const cv::Point kHot(215, 40), kCold(215, 150);
constexpr int kMargin = 48;  // pixels of the scene around what a frame without displacement sees
constexpr int kFrames = 6, kReference = 2;
constexpr float kBlur = 0.683f;
constexpr double kNoise = 0.05;

double edge(double outside) {
    return 0.5 * std::erfc(outside / (0.7 * std::sqrt(2.0)));
}

/// Waves on the left, flat areas on the right, a plate of 45 degrees in the middle, a hot spot of 60 and a cold one of 0.
cv::Mat_<float> sceneWithPlateAt(cv::Point2d plate) {
    cv::Mat_<float> scene(kFrame * 2 + cv::Size(2 * kMargin, 2 * kMargin));
    for (int y = 0; y < scene.rows; ++y) {
        for (int x = 0; x < scene.cols; ++x) {
            const double u = x - kMargin, v = y - kMargin;
            const auto spot = [&](cv::Point at) {
                return std::exp(-(std::pow(u - at.x, 2) + std::pow(v - at.y, 2)) / (2.0 * 9.0));
            };
            const double waves =
                std::sin(0.9 * u + 0.2 * v) + std::sin(0.7 * v - 0.15 * u) + std::sin(0.3 * (u + v));
            const double cover = edge(std::max(std::abs(u - plate.x) - 30.0, std::abs(v - plate.y) - 24.0));
            const double behind =
                20.0 + 1.2 * waves * edge(u - 90.0) + 40.0 * spot(kHot) - 20.0 * spot(kCold);
            scene(y, x) = static_cast<float>(45.0 * cover + behind * (1.0 - cover));
        }
    }
    return scene;
}

double meanError(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, cv::Rect part) {
    return cv::mean(image(part))[0] - cv::mean(truth(part))[0];
}

/// The largest difference between image and truth around a place.
double worstError(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, cv::Point at) {
    const cv::Rect around(at - cv::Point(2, 2), cv::Size(5, 5));
    return cv::norm(image(around), truth(around), cv::NORM_INF);
}

class Temperatures : public Program {
  protected:
    struct Case {
        const char* pipeline;
        cv::Point2d step;           // of the plate from frame to frame, in pixels of the scene
        bool levels;                // gains and offsets of the frames differ
        double flat, plate, spots;  // largest errors, in kelvin
    };
    static double gainOf(std::size_t frame) { return frame == 1 ? 1.04 : frame == 4 ? 0.97 : 1.0; }
    static double offsetOf(std::size_t frame) { return frame == 3 ? 0.7 : frame == 4 ? -1.5 : 0.0; }

    void expectReadings(const Json& report, const Case& c) const {
        const Json& bias = report["flat_bias"];
        EXPECT_NEAR(bias["difference"].get<double>(), 0.0, c.flat);
        EXPECT_LT(bias["standard_error"].get<double>(), 0.002);
        for (const auto& [name, place] : {std::pair("hottest", kHot), {"coldest", kCold}}) {
            const Json& spot = report["spots"][name];
            const double frame = spot["in_reference_frame"].get<double>();
            EXPECT_EQ(cv::Point(spot["x"], spot["y"]), place) << name;
            EXPECT_NEAR(spot["value"].get<double>(), place == kHot ? 60.0 : 0.0, c.spots) << name;
            EXPECT_NEAR(spot["seen_by_camera"].get<double>(), frame, c.spots) << name;
            EXPECT_NEAR(spot["bicubic"].get<double>(), frame, 2.0) << name;
        }
    }
    void expectLevels(const Json& report, bool levels) const {
        const double mean = cv::mean(image("frame_002.tif"))[0];
        for (const Json& frame : report["frames"]) {
            const std::size_t k = frame["number"];
            const double gain = levels ? gainOf(k) : 1.0, offset = levels ? offsetOf(k) : 0.0;
            EXPECT_NEAR(frame["gain"].get<double>(), gain, 2e-3) << k;
            EXPECT_NEAR(frame["offset"].get<double>(), (gain - 1.0) * (mean - 20.0) + offset, 5e-3) << k;
        }
    }
    cv::Mat_<float> writeBurst(const Case& c) const {
        const Camera camera(kBlur);
        const cv::Point2d shifts[kFrames] = {{0.4, -0.7}, {-0.6, 0.2},  {0, 0},
                                             {0.9, 0.5},  {-0.3, -0.4}, {0.2, 0.8}};
        cv::RNG random(7);
        cv::Mat_<float> truth;
        for (int k = 0; k < kFrames; ++k) {
            const cv::Mat_<float> scene = sceneWithPlateAt(cv::Point2d(125, 96) + (k - kReference) * c.step);
            if (k == kReference) truth = scene(cv::Rect({kMargin, kMargin}, kFrame * 2)).clone();
            cv::Mat_<float> frame = camera.frame(scene, kFrame, {kMargin + 0.5, kMargin + 0.5}, shifts[k]);
            const auto number = static_cast<std::size_t>(k);
            for (float& value : frame) {
                const double light =
                    c.levels ? gainOf(number) * (static_cast<double>(value) - 20.0) + 20.0 + offsetOf(number)
                             : static_cast<double>(value);
                value = static_cast<float>(light + random.gaussian(kNoise));
            }
            writeImage(path("frame_00" + std::to_string(k) + ".tif"), frame);
        }
        return truth;
    }
};

TEST(Radiometry, FindsByHowMuchAnImageIsOff) {
    const cv::Mat_<float> scene = sceneWithPlateAt({125, 96});
    const cv::Mat_<float> image = scene(cv::Rect({kMargin, kMargin}, kFrame * 2));
    cv::Mat_<float> frame = Camera(kBlur).frame(scene, kFrame, {kMargin + 0.5, kMargin + 0.5}, cv::Point2d());
    cv::Mat_<float> seen = seenByCamera(image, kBlur);
    const cv::Rect inner(10, 10, kFrame.width - 20, kFrame.height - 20);
    EXPECT_LT(cv::norm(seen(inner), frame(inner), cv::NORM_INF), 1e-3);

    cv::RNG random(3);
    for (float& value : frame) value += static_cast<float>(random.gaussian(kNoise));
    seen += 0.02;
    seen(cv::Rect(96, 40, 16, 16)) += 0.3;
    const std::optional<FlatBias> bias = FlatBias::of(seen, frame);
    ASSERT_TRUE(bias);
    EXPECT_GT(bias->pixels, 2000u);
    const double raised = 0.3 * 256.0 / static_cast<double>(bias->pixels);
    EXPECT_NEAR(bias->difference, 0.02 + raised, 0.005);
    EXPECT_NEAR(bias->worst, 0.32, 0.03);
    EXPECT_NEAR(bias->worstError, kNoise / 8.0, 0.002);
    EXPECT_TRUE(cv::Rect(96, 40, 16, 16).contains(bias->worstAt)) << bias->worstAt;

    cv::Mat_<float> holed = image.clone();
    holed(100, 60) = std::nanf("");
    const cv::Mat_<float> around = seenByCamera(holed, kBlur);
    EXPECT_TRUE(std::isnan(around(50, 30)));
    EXPECT_NEAR(around(50, 40), frame(50, 40), 0.3);
    cv::Mat_<float> waves = frame.clone();
    random.fill(waves, cv::RNG::UNIFORM, 0.0, 50.0);
    EXPECT_FALSE(FlatBias::of(waves, waves));
}

TEST_F(Temperatures, AreThoseOfTheScene) {
    const Case cases[] = {{"precise", {0, 0}, false, 0.005, 0.02, 0.5},
                          {"precise", {2.6, 1.2}, true, 0.005, 0.02, 0.5},
                          {"float", {0, 0}, false, 0.005, 0.1, 1.5}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pipeline);
        const cv::Mat_<float> truth = writeBurst(c);
        const Outcome done =
            run(std::string("enhance frame_00* -o o.tif --report r.json --pipeline ") + c.pipeline);
        ASSERT_EQ(done.code, 0) << done.err;
        const cv::Mat_<float> image = this->image("o.tif");
        EXPECT_NEAR(meanError(image, truth, {185, 70, 60, 50}), 0.0, c.flat);
        EXPECT_NEAR(meanError(image, truth, {105, 80, 40, 32}), 0.0, c.plate);
        EXPECT_LT(worstError(image, truth, kHot), c.spots);
        EXPECT_LT(worstError(image, truth, kCold), c.spots);
        const Json report = Json::parse(text(path("r.json")))["image"];
        expectReadings(report, c);
        if (std::string(c.pipeline) == "precise") expectLevels(report, c.levels);
    }
}

}  // namespace
}  // namespace oravo::tools
