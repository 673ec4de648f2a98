#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "tests/tools/Scratch.h"
#include "tools/measure/Metrics.h"
#include "tools/pictures/Comparison.h"
#include "tools/simulate/BurstSimulator.h"
#include "tools/simulate/Scene.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/detail/defects/StatusCodes.h"

namespace oravo::tools {
namespace {

constexpr int kCrop = 3;

TEST(Metrics, FiguresOfAKnownOffsetAndWhatIsLeftOut) {
    const cv::Mat_<float> truth = renderScene({48, 40}, 0);
    cv::Mat_<float> image;
    cv::add(truth, cv::Scalar(0.5), image);
    image(20, 20) = std::numeric_limits<float>::infinity();
    image(20, 21) = floatOf(0x84);
    image(0, 0) = 1e6f;  // cropped
    const Quality q = compareWithTruth(image, truth, kCrop);
    double lowest = 0.0;
    double highest = 0.0;
    cv::minMaxLoc(truth(cv::Rect(kCrop, kCrop, 42, 34)), &lowest, &highest);
    EXPECT_EQ(q.leftOut, 2);
    EXPECT_EQ(q.compared, 42 * 34 - 2);
    EXPECT_NEAR(q.rmse, 0.5, 1e-5);
    EXPECT_NEAR(q.psnr, 20.0 * std::log10((highest - lowest) / 0.5), 1e-3);
    EXPECT_GT(q.ssim, 0.9);
    EXPECT_LT(q.ssim, 1.0);
    const Quality equal = compareWithTruth(truth, truth, kCrop);
    EXPECT_TRUE(std::isinf(equal.psnr));
    EXPECT_NEAR(equal.ssim, 1.0, 1e-9);
    // Structure turned over: the covariance, and with it the measure, is negative.
    cv::Mat_<float> bars(40, 40, 1.0f);
    cv::Mat_<float> turned(40, 40, -1.0f);
    for (int r = 0; r < 40; r += 2) {
        bars.row(r) = -1.0f;
        turned.row(r) = 1.0f;
    }
    EXPECT_LT(compareWithTruth(turned, bars, kCrop).ssim, -0.9);
}

/// Wang, Bovik, Sheikh and Simoncelli 2004, formula (13), written out pixel by pixel.
double plainSsim(const cv::Mat_<float>& x, const cv::Mat_<float>& y) {
    double lowest = 0.0, highest = 0.0;
    cv::minMaxLoc(y, &lowest, &highest);
    const double c1 = std::pow(0.01 * (highest - lowest), 2), c2 = std::pow(0.03 * (highest - lowest), 2);
    double total = 0.0;
    for (int r = 0; r < x.rows; ++r) {
        for (int c = 0; c < x.cols; ++c) {
            double n = 0, mx = 0, my = 0, xx = 0, yy = 0, xy = 0;
            for (int i = -5; i <= 5; ++i) {
                for (int j = -5; j <= 5; ++j) {
                    const cv::Point at(cv::borderInterpolate(c + j, x.cols, cv::BORDER_REFLECT_101),
                                       cv::borderInterpolate(r + i, x.rows, cv::BORDER_REFLECT_101));
                    const double w = std::exp(-(i * i + j * j) / (2 * 1.5 * 1.5));
                    const auto a = static_cast<double>(x(at)), b = static_cast<double>(y(at));
                    n += w, mx += w * a, my += w * b, xx += w * a * a, yy += w * b * b, xy += w * a * b;
                }
            }
            mx /= n, my /= n;
            total += (2 * mx * my + c1) * (2 * (xy / n - mx * my) + c2) /
                     ((mx * mx + my * my + c1) * (xx / n - mx * mx + yy / n - my * my + c2));
        }
    }
    return total / static_cast<double>(x.total());
}

TEST(Metrics, SimilarityIsThatOfItsFormula) {
    for (const double noise : {0.1, 1.0, 8.0}) {
        const cv::Mat_<float> truth = renderScene({32, 26}, 3);
        cv::Mat_<float> image(truth.size());
        cv::theRNG().fill(image, cv::RNG::NORMAL, 0.0, noise);
        image += truth;
        EXPECT_NEAR(compareWithTruth(image, truth, 0).ssim, plainSsim(image, truth), 1e-9) << noise;
    }
    // Without any range only the means differ: 2 a b / (a^2 + b^2).
    const cv::Mat_<float> two(20, 20, 2.0f), three(20, 20, 3.0f);
    EXPECT_NEAR(compareWithTruth(three, two, 0).ssim, 12.0 / 13.0, 1e-9);
}

TEST(Metrics, RefusesWhatCannotBeCompared) {
    const cv::Mat_<float> image(20, 20, 1.0f);
    const cv::Mat_<float> hollow(20, 20, std::numeric_limits<float>::quiet_NaN());
    EXPECT_NE(complaint([&] { compareWithTruth(image, cv::Mat_<float>(20, 21, 1.0f), 0); }, ExitCode::kInput),
              "");
    EXPECT_NE(complaint([&] { compareWithTruth(image, image, 10); }, ExitCode::kInput), "");
    EXPECT_NE(complaint([&] { compareWithTruth(hollow, image, 0); }, ExitCode::kInput), "");
    EXPECT_EQ(compareWithTruth(image, image, 0).ssim, 1.0);
}

SimulationParameters quiet(std::vector<cv::Point2f> shifts) {
    SimulationParameters p;
    p.frameSize = {44, 36};
    p.shifts = std::move(shifts);
    p.noise = 0.0;
    return p;
}

TEST(Metrics, RegionsHaveTheirOwnErrors) {
    cv::Mat_<float> truth(60, 80, 10.0f);
    truth(cv::Rect(40, 0, 40, 60)) = 30.0f;
    truth(cv::Rect(10, 10, 7, 7)) = 90.0f;
    truth(cv::Rect(60, 30, 7, 7)) = -10.0f;
    cv::Mat_<float> image = truth.clone();
    image(cv::Rect(20, 20, 12, 12)) = 12.0f;  // flat
    image(cv::Rect(10, 10, 7, 7)) = 87.0f;
    image(cv::Rect(60, 30, 7, 7)) = -9.0f;
    image(0, 40) = 500.0f;  // at the edge, and cropped
    image(2, 40) = 500.0f;  // at the edge
    const RegionErrors errors = regionErrors(image, truth, 1);
    EXPECT_NEAR(errors.hot, 3.0, 1e-6);
    EXPECT_NEAR(errors.cold, 1.0, 1e-6);
    EXPECT_GT(errors.flat, 0.3);
    EXPECT_LT(errors.flat, 2.0);
    EXPECT_EQ(regionErrors(truth, truth, 1).flat, 0.0);
}

/// frame(p + d) = reference(p) for whole shifts, exactly and in this direction.
TEST(BurstSimulator, WholeShiftsMoveTheFrame) {
    const Burst burst = simulateBurst(quiet({{0.0f, 0.0f}, {3.0f, -2.0f}}));
    for (int r = 2; r < 36; ++r) {
        for (int c = 0; c + 3 < 44; ++c) ASSERT_EQ(burst.frames[1](r - 2, c + 3), burst.frames[0](r, c));
    }
}

TEST(BurstSimulator, NoiseAndDefectsAreAsAskedAndRepeatable) {
    SimulationParameters p = quiet({{0.0f, 0.0f}, {0.3f, 0.4f}});
    const Burst clean = simulateBurst(p);
    p.noise = 0.2;
    const Burst noisy = simulateBurst(p);
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(noisy.frames[1] - clean.frames[1], mean, deviation);
    EXPECT_NEAR(mean[0], 0.0, 0.02);
    EXPECT_NEAR(deviation[0], 0.2, 0.02);
    EXPECT_EQ(cv::norm(noisy.frames[0], simulateBurst(p).frames[0]), 0.0);
    p.seed = 2;
    EXPECT_GT(cv::norm(noisy.frames[0], simulateBurst(p).frames[0]), 1.0);
    p.defects = 12;
    const Burst defective = simulateBurst(p);
    const auto codes = [](const cv::Mat_<float>& f) {
        return std::count_if(f.begin(), f.end(), vision::detail::isStatusCode);
    };
    EXPECT_EQ(codes(defective.frames[0]), 12);
    EXPECT_EQ(codes(defective.frames[1]), 12);
    EXPECT_EQ(codes(defective.truth), 0);
    p.defects = 2000;
    EXPECT_NE(complaint([&] { simulateBurst(p); }, ExitCode::kUsage), "");
}

TEST(Comparison, DrawsEveryShapeWithPixelsThatHoldNoValue) {
    for (const cv::Size size : {cv::Size(320, 240), cv::Size(1300, 20), cv::Size(16, 90), cv::Size(1, 1)}) {
        cv::Mat_<float> image(size, 3.0f);
        image(0, 0) = std::numeric_limits<float>::quiet_NaN();
        const cv::Mat picture = drawComparison({{image, "a", ""}, {image, "b", ""}});
        EXPECT_GT(picture.cols, 100);
        EXPECT_EQ(picture.type(), CV_8UC3);
    }
}

/// The colours follow the truth, whatever the other panel holds; the detail is cut where the truth has
/// structure.
TEST(Comparison, PanelsShareTheTruthsColoursAndItsDetail) {
    cv::Mat_<float> truth(240, 320, 10.0f);
    cv::randu(truth(cv::Rect(200, 120, 80, 80)), 0.0, 20.0);
    cv::Mat_<float> other = truth.clone();
    other(cv::Rect(0, 0, 40, 40)) = 500.0f;  // would stretch a scale of its own
    const cv::Mat picture = drawComparison({{other, "", ""}, {truth, "", ""}});
    const int step = (picture.cols - 14 - 22 - 92) / 2;
    const auto at = [&](int panel, cv::Point p) {
        return picture.at<cv::Vec3b>(58 + p.y, 14 + panel * step + p.x);
    };
    EXPECT_EQ(at(0, {100, 50}), at(1, {100, 50}));
    EXPECT_NE(at(0, {20, 20}), at(1, {20, 20}));
    const cv::Vec3b flat = at(1, {100, 50});
    int detailLikeFlat = 0;
    for (int y = 0; y < 100; ++y) detailLikeFlat += at(1, {60, 260 + y}) == flat ? 1 : 0;
    EXPECT_LT(detailLikeFlat, 20);
}

}  // namespace
}  // namespace oravo::tools
