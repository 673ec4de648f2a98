#include "vision/superresolution/detail/precise/CameraBlur.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "vision/superresolution/detail/precise/Elementary.h"

namespace oravo::vision::detail::precise {
namespace {

struct Case {
    double sigma, tolerance;  ///< of the transfer function, as documented
};
/// Optics and a square.
constexpr std::pair<double, double> kSquares[] = {{0.365, 2.0}, {0.6, 1.6}, {1.0, 2.0}, {0.6, 4.0}};
constexpr Case kCases[] = {{0.3, 0.1},     {0.65, 0.004}, {0.683, 0.004}, {1.0, 0.004},
                           {1.366, 0.004}, {1.8, 0.004},  {2.0, 0.1}};
const Grid kGrid{20, 20, 2, 4};

}  // namespace

TEST(CameraBlur, HasTheTransferFunctionAndTheMomentOfAGaussian) {
    for (const auto& [sigma, tolerance] : kCases) {
        const CameraBlur blur(kGrid, sigma);
        double response[kBlurRadius + 1] = {};
        for (int k = 0; k <= kBlurRadius; ++k) response[k] = static_cast<double>(blur.taps().taps[k]);
        for (double w = 0.0; w < kPi; w += kPi / 16.0) {
            double filter = response[0];
            for (int k = 1; k <= kBlurRadius; ++k) filter += 2.0 * response[k] * std::cos(k * w);
            const double sinc = w > 0.0 ? std::sin(0.5 * w) / (0.5 * w) : 1.0;
            EXPECT_NEAR(filter * std::pow(sinc, 4), std::exp(-0.5 * sigma * sigma * w * w), tolerance)
                << sigma << ' ' << w;
        }
        // The sum over all places of a spline's weights times their squared distances is 1 / 3 wherever a sample lies.
        double moment = 1.0 / 3.0;
        for (int k = 1; k <= kBlurRadius; ++k) moment += 2.0 * k * k * response[k];
        // A moment that is off by d moves the transfer function by d / 2 at frequency 1.
        EXPECT_NEAR(moment, sigma * sigma, 2.0 * tolerance) << sigma;
    }
}

TEST(CameraBlur, HasTheTransferFunctionOfAGaussianAndASquare) {
    for (const auto& [sigma, side] : kSquares) {
        const CameraBlur blur(kGrid, {sigma, side});
        for (double w = kPi / 16.0; w < kPi; w += kPi / 16.0) {
            double filter = static_cast<double>(blur.taps().taps[0]);
            for (int k = 1; k <= kBlurRadius; ++k)
                filter += 2.0 * static_cast<double>(blur.taps().taps[k]) * std::cos(k * w);
            const double spline = std::pow(std::sin(0.5 * w) / (0.5 * w), 4);
            const double square = std::sin(0.5 * side * w) / (0.5 * side * w);
            EXPECT_NEAR(filter * spline, std::exp(-0.5 * sigma * sigma * w * w) * square, 0.01)
                << sigma << ' ' << side << ' ' << w;
        }
    }
}

TEST(CameraBlur, ShowsAPointAsAGaussianWhereverASampleLies) {
    for (const auto& [sigma, tolerance] : kCases) {
        const CameraBlur blur(kGrid, sigma);
        const PaddedImage point(kGrid.columns(), kGrid.rows());
        const int centre = kGrid.columns() / 2;
        const SplineImage coefficients(kGrid);
        // In space, what the grid cannot show is missing, the Gaussian's spectrum beyond pi, and the spline lets through
        // some of the spectrum's copies at +-2 pi, (v / 2 pi)^4 of frequency v, which has the moment 3 / sigma^4.
        const double peak = 0.5 / (kPi * sigma * sigma), copies = 2.0 * 3.0 / std::pow(2.0 * kPi * sigma, 4);
        const double bound =
            2.0 * peak * (std::erfc(kPi * sigma / std::sqrt(2.0)) + copies + 2.0 * tolerance);
        point.row(centre)[centre] = 1.0f;
        blur.toCoefficients(point, coefficients);
        for (const double place : {0.0, 0.1, 0.25, 0.37, 0.5, 0.8}) {
            Motion motion;
            motion.tx = 0.5 * place;
            motion.ty = -0.3 * place;
            std::vector<float> shown(static_cast<std::size_t>(kGrid.width));
            for (const SampleRun& run : sampleRuns(kGrid, motion)) {
                preciseKernels().sample(coefficients.view(), run, shown.data());
                const double dy = 2.0 * run.y + 0.5 + kGrid.margin - 0.6 * place - centre;
                for (int i = run.first; i < run.first + run.count; ++i) {
                    const double dx = 2.0 * i + 0.5 + kGrid.margin + place - centre;
                    ASSERT_NEAR(shown[static_cast<std::size_t>(i)],
                                peak * std::exp(-0.5 * (dx * dx + dy * dy) / (sigma * sigma)), bound)
                        << sigma << " at " << dx << ", " << dy;
                }
            }
        }
    }
}

TEST(CameraBlur, LeavesLevelsAndSlopesAsTheyAre) {
    const Grid grid{30, 9, 2, 4};
    const CameraBlur blur(grid, 0.683);
    const PaddedImage ramp(grid.columns(), grid.rows());
    for (int y = 0; y < grid.rows(); ++y) {
        for (int x = 0; x < grid.columns(); ++x) ramp.row(y)[x] = static_cast<float>(3 + x);
    }
    const SplineImage coefficients(grid);
    blur.toCoefficients(ramp, coefficients);
    Motion motion;
    motion.tx = 0.317;
    std::vector<float> shown(30), dx(30), dy(30);
    for (const SampleRun& run : sampleRuns(grid, motion)) {
        preciseKernels().sampleGradient(coefficients.view(), run, shown.data(), dx.data(), dy.data());
        for (std::size_t i = 5; i < 24; ++i) {  // out of reach of the mirrored ends
            // Values up to 70, rounded some twenty times.
            ASSERT_NEAR(shown[i], 3.0 + 2.0 * static_cast<double>(i) + 0.5 + grid.margin + 0.634, 1e-4);
            ASSERT_NEAR(dx[i], 1.0f, 1e-4f);
            ASSERT_NEAR(dy[i], 0.0f, 1e-4f);
        }
    }
}

}  // namespace oravo::vision::detail::precise
