#include "tools/simulate/Camera.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tools/simulate/BurstSimulator.h"

namespace oravo::tools {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kWindowed = 1e-2;  // what the window of the camera changes of a wave

/// cos(2 pi (fx x + fy y) + phase) at a position of the picture.
struct Wave {
    double fx, fy, phase;
    double at(double x, double y) const { return std::cos(2.0 * kPi * (fx * x + fy * y) + phase); }
    /// What a Gaussian leaves of it.
    double transmission(double sigma) const {
        return std::exp(-2.0 * kPi * kPi * sigma * sigma * (fx * fx + fy * fy));
    }
};

/// A wave stays a wave: weaker as the Gaussian's spectrum has it, and where the displaced pixels lie.
TEST(Camera, SeesWavesBlurredAndDisplacedExactly) {
    const cv::Size size(30, 24);
    for (const double sigma : {0.3, 0.683, 1.5, 4.0}) {
        const Camera camera(sigma);
        const int margin = camera.reach() + 8;
        for (const Wave& wave :
             {Wave{0, 0, 0}, {0.1, 0.03, 0.4}, {0.25, -0.2, 1.0}, {0.33, 0.0, 2.0}, {0.02, 0.35, 0.7}}) {
            cv::Mat_<float> picture((size + cv::Size(margin, margin)) * 2);
            for (int y = 0; y < picture.rows; ++y) {
                for (int x = 0; x < picture.cols; ++x) picture(y, x) = static_cast<float>(wave.at(x, y));
            }
            for (const cv::Point2d shift : {cv::Point2d(0, 0), {0.25, -0.5}, {-0.37, 3.61}, {1.0, 0.013}}) {
                const double first = margin + 0.5;
                const cv::Mat_<float> frame = camera.frame(picture, size, {first, first}, shift);
                for (int y = 0; y < size.height; ++y) {
                    for (int x = 0; x < size.width; ++x) {
                        const double expected =
                            wave.transmission(sigma) *
                            wave.at(first + 2.0 * (x - shift.x), first + 2.0 * (y - shift.y));
                        ASSERT_NEAR(frame(y, x), expected, kWindowed) << sigma << ' ' << wave.fx << shift;
                    }
                }
            }
        }
    }
}

/// Pixel i of an undisplaced frame lies at 2 i + 0.5 of the truth.
TEST(BurstSimulator, FramePixelsLieAtTwiceTheirIndexPlusOneHalf) {
    SimulationParameters p;
    p.frameSize = {44, 36};
    p.shifts = {{0.0f, 0.0f}, {0.5f, -0.25f}};
    p.noise = 0.0;
    p.scene.create(200, 200);
    const Wave wave{0.11, 0.07, 0.3};
    for (int y = 0; y < 200; ++y) {
        for (int x = 0; x < 200; ++x) p.scene(y, x) = static_cast<float>(wave.at(x, y));
    }
    const Burst burst = simulateBurst(p);
    ASSERT_EQ(burst.truth.size(), cv::Size(88, 72));
    const cv::Point2d corner(56, 64);
    EXPECT_FLOAT_EQ(burst.truth(0, 0), p.scene(64, 56));
    for (std::size_t k = 0; k < 2; ++k) {
        const cv::Point2d d = p.shifts[k];
        const double expected = wave.at(corner.x + 2.0 * (20 - d.x) + 0.5, corner.y + 2.0 * (10 - d.y) + 0.5);
        EXPECT_NEAR(burst.frames[k](10, 20), wave.transmission(p.psfSigma) * expected, kWindowed) << k;
    }
}

}  // namespace
}  // namespace oravo::tools
