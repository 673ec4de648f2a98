#include "tools/measure/BlurMeter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/tools/Program.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

constexpr double kPi = 3.14159265358979323846;

/// A frame of a slanted edge from 20 to 30 degrees. A pixel's square is a mean over many points.
struct Edge {
    double degrees = 7.0, optics = 0.34, pixel = 0.0, noise = 0.01;
    double curve = 0.0;            ///< pixels, at the ends against the middle
    cv::Point2d offset{0.3, 0.1};  ///< of its middle from that of the frame
    std::uint64_t seed = 1;
    cv::Size size{64, 64};

    cv::Mat_<float> frame() const {
        const double angle = degrees * kPi / 180.0;
        const int points = pixel > 0.0 ? 10 : 1;
        cv::Mat_<float> values(size);
        cv::RNG random(seed);
        for (int y = 0; y < size.height; ++y) {
            for (int x = 0; x < size.width; ++x) {
                double sum = 0.0;
                for (int i = 0; i < points * points; ++i) {
                    const double px =
                        x - 0.5 * size.width - offset.x + pixel * ((i % points + 0.5) / points - 0.5);
                    const double py =
                        y - 0.5 * size.height - offset.y + pixel * ((i / points + 0.5) / points - 0.5);
                    const double bow = curve * std::pow(2.0 * py / size.height, 2);
                    const double u = px * std::cos(angle) + py * std::sin(angle) - bow;
                    sum += 0.5 * std::erfc(-u / (optics * std::sqrt(2.0)));
                }
                values(y, x) =
                    static_cast<float>(20.0 + 10.0 * sum / (points * points) + random.gaussian(10.0 * noise));
            }
        }
        return values;
    }
    double spread() const { return std::sqrt(optics * optics + pixel * pixel / 12.0); }
};

BlurMeasurement measured(const cv::Mat_<float>& frame, std::optional<cv::Rect> region = {}) {
    BlurMeter meter(region);
    EXPECT_EQ(meter.add(frame), "");
    return meter.result();
}

TEST(BlurMeter, FindsTheBlurWithinFourOfTheErrorsThatItClaims) {
    for (const double degrees : {3.0, 8.0, 21.0, -38.0}) {
        for (const auto& [optics, pixel] :
             {std::pair(0.25, 0.0), {0.34, 0.0}, {0.6, 0.0}, {0.2, 1.0}, {0.45, 1.0}}) {
            for (const double noise : {0.003, 0.03}) {
                const Edge edge{degrees, optics, pixel, noise};
                // Of an edge along the rows everything is the same.
                for (const cv::Mat_<float>& frame : {edge.frame(), cv::Mat_<float>(edge.frame().t())}) {
                    const BlurMeasurement m = measured(frame, cv::Rect(0, 0, 64, 64));
                    const BlurModel& wanted = pixel > 0.0 ? m.box : m.gaussian;
                    EXPECT_NEAR(wanted.spread(), edge.spread(), 4.0 * wanted.spreadError() + 1e-3)
                        << degrees << ' ' << optics << ' ' << pixel << ' ' << noise;
                    EXPECT_LT(wanted.spreadError(), 1.5 * noise * edge.spread());
                    EXPECT_NEAR(m.edge.degrees, std::abs(degrees), 0.2);
                    // By its shape, a square shows where there is little noise and little else.
                    if (noise < 0.01 && optics < 0.3) {
                        EXPECT_EQ(m.boxFitsBetter, pixel > 0.0) << degrees;
                    }
                }
            }
        }
    }
}

TEST(BlurMeter, FindsTheEdgeByItself) {
    Edge edge{12.0, 0.4, 0.0, 0.005};
    edge.size = {160, 120};
    cv::Mat_<float> frame = edge.frame();
    frame.colRange(120, 160).setTo(35.0f);  // a stronger edge, but along the grid
    frame(100, 20) = std::numeric_limits<float>::quiet_NaN();
    const BlurMeasurement m = measured(frame);
    EXPECT_NEAR(m.edge.degrees, 12.0, 0.5);
    EXPECT_NEAR(m.gaussian.spread(), 0.4, 4.0 * m.gaussian.spreadError());
}

TEST(BlurMeter, TakesValuesOfAnySize) {
    const cv::Mat_<float> frame = Edge{}.frame();
    const BlurModel expected = measured(frame).gaussian;
    for (const float scale : {1e-9f, 1e9f}) {
        cv::Mat_<float> scaled = frame.clone();
        scaled *= scale;
        const BlurModel found = measured(scaled).gaussian;
        EXPECT_NEAR(found.spread(), expected.spread(), 1e-4) << scale;
        EXPECT_NEAR(found.error, expected.error, 0.01 * expected.error) << scale;
    }
}

TEST(BlurMeter, TransferIsThatOfTheGaussian) {
    const BlurMeasurement m = measured(Edge{9.0, 0.4, 0.0, 0.001}.frame(), cv::Rect(0, 0, 64, 64));
    for (const double f : {0.1, 0.25, 0.4, 0.5})
        EXPECT_NEAR(m.spread.transfer(f), std::exp(-2.0 * std::pow(kPi * 0.4 * f, 2)), 0.01) << f;
    EXPECT_LT(m.gaussian.misfit, 0.002);
}

TEST(BlurMeter, IsNotMisledByDefectsAndUnevenSurfaces) {
    cv::Mat_<float> frame = Edge{}.frame();
    frame(10, 29) = 300.0f;
    frame(40, 31) = -50.0f;
    for (int y = 0; y < frame.rows; ++y) {
        for (int x = 0; x < frame.cols; ++x)
            frame(y, x) += 0.03f * static_cast<float>(x) - 0.02f * static_cast<float>(y);
    }
    const BlurModel m = measured(frame, cv::Rect(0, 0, 64, 64)).gaussian;
    EXPECT_NEAR(m.spread(), 0.34, 4.0 * m.spreadError());
}

/// Where the edge stays, a fixed pattern is the same mistake in every frame.
TEST(BlurMeter, MoreFramesReduceNoiseButNoFixedPattern) {
    cv::Mat_<float> pattern(64, 64);
    cv::RNG random(3);
    random.fill(pattern, cv::RNG::NORMAL, 0.0, 0.2);
    const auto errorOf = [&](int frames, bool fixed, double moved) {
        BlurMeter meter(cv::Rect(0, 0, 64, 64));
        for (int i = 0; i < frames; ++i) {
            Edge edge;
            edge.noise = fixed ? 0.002 : 0.02;
            edge.seed = static_cast<std::uint64_t>(i + 1);
            edge.offset.x += moved * i;
            cv::Mat_<float> frame = edge.frame();
            if (fixed) frame += pattern;
            EXPECT_EQ(meter.add(frame), "");
        }
        return meter.result().gaussian.spreadError();
    };
    const double one = errorOf(1, false, 0.0);
    EXPECT_NEAR(errorOf(16, false, 0.0), one / 4.0, 0.1 * one);
    EXPECT_NEAR(errorOf(16, true, 0.0), one, 0.3 * one);
    EXPECT_LT(errorOf(16, true, 0.7), 0.6 * one);
}

TEST(BlurMeter, SaysWhyAnEdgeIsOfNoUse) {
    cv::Mat_<float> saturated;
    cv::min(Edge{}.frame(), 29.95f, saturated);
    Edge grid, diagonal, curved, noisy, noise;
    grid.degrees = 0.2;
    diagonal.degrees = 45.0;
    curved.curve = 3.0;
    noisy.noise = 0.19;
    noisy.size = {20, 20};
    noise.noise = 2.0;
    const std::pair<cv::Mat_<float>, const char*> cases[] = {
        {cv::Mat_<float>(64, 64, 20.0f), "no edge"},
        {noise.frame(), "no edge"},
        {saturated, "saturated: most pixels on the bright side"},
        {grid.frame(), "tilt it"},
        {diagonal.frame(), "tilt it"},
        {curved.frame(), "curved by 2"},
        {noisy.frame(), "too noisy"}};
    for (const auto& [frame, why] : cases) {
        BlurMeter meter(cv::Rect({}, frame.size()));
        const std::string said = meter.add(frame);
        EXPECT_NE(said.find(why), std::string::npos) << why << ": " << said;
    }
}

TEST_F(Program, TellsOfTheSquareOfAPixelWhereItShows) {
    writeImage(path("edge.tif"), Edge{7.0, 0.2, 1.0, 0.002}.frame());
    const Outcome words = run("measure blur edge.tif");
    const std::size_t last = words.out.find("\n--psf-sigma ");
    ASSERT_NE(last, std::string::npos) << words.out;
    EXPECT_NEAR(std::stod(words.out.substr(last + 13)), 0.4, 0.01);
    EXPECT_NE(words.out.find(" --psf-box 2\n", last), std::string::npos) << words.out;
}

TEST_F(Program, MeasuresABlurAndPrintsTheOptionThatTakesIt) {
    writeImage(path("edge.tif"), Edge{}.frame());
    const Outcome words = run("measure blur edge.tif --picture mtf.png");
    ASSERT_EQ(words.code, 0) << words.err;
    const std::size_t option = words.out.rfind("--psf-sigma ");
    ASSERT_NE(option, std::string::npos) << words.out;
    EXPECT_NEAR(std::stod(words.out.substr(option + 12)), 0.68, 0.02);
    EXPECT_GT(std::filesystem::file_size(path("mtf.png")), 10000u);
    const Outcome json = run("measure blur edge.tif --region 48x48+8+8 --json");
    EXPECT_NE(json.out.find("\"psf_sigma\": 0.6"), std::string::npos) << json.out;
    for (const auto& [arguments, code, why] : {std::tuple("--region 48x48+20+20", 2, "reaches beyond"),
                                               {"--region 8x8", 1, "too small"},
                                               {"--region 3", 1, "--region 3: is not WxH"},
                                               {"--picture edge.tif", 3, ""}}) {
        const Outcome wrong = run(std::string("measure blur edge.tif ") + arguments);
        EXPECT_EQ(wrong.code, code) << wrong.err;
        EXPECT_NE(wrong.err.find(why), std::string::npos) << wrong.err;
    }
}

}  // namespace
}  // namespace oravo::tools
