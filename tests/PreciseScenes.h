#ifndef ORAVO_TESTS_PRECISESCENES_H
#define ORAVO_TESTS_PRECISESCENES_H

#include <opencv2/core.hpp>
#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrPrecise.h"

/// Scenes known at every point and a camera that is not the solver's: a pixel that collects over its square behind
/// Gaussian optics. Lengths are pixels of the frames, from the centre of the reference frame.
namespace oravo::test {

/// Where a frame lies, as SrPreciseFrame has it: reference point p is at p + d + linear p of the frame.
struct Pose {
    double dx = 0.0, dy = 0.0;
    double linear[2][2] = {};

    static Pose similarity(double dx, double dy, double degrees, double zoom);
    /// The point of the reference that a point of the frame shows.
    cv::Point2d seen(double x, double y) const;
};

class AnalyticScene {
  public:
    static constexpr double kOptics = 0.18;  ///< standard deviation of the optics

    AnalyticScene(cv::Size frame, double level) : size_(frame), level_(level) {}

    /// Plane waves of all directions, up to 0.75 cycles a pixel, a quarter of them beyond what one frame can show, with a
    /// standard deviation of `contrast` in all.
    AnalyticScene& addWaves(unsigned seed, double contrast);
    /// A plate turned by 20 degrees, its edges soft by a Gaussian of `softness`.
    AnalyticScene& addPlate(cv::Point2d centre, cv::Size2d half, double height, double softness = 0.35);

    double at(double x, double y) const;
    /// A frame as the camera takes it: exact for waves, by Gauss and Legendre's nine points of each pixel for plates.
    Image frame(const Pose& pose = Pose()) const;
    /// The scene on an enlarged image's grid.
    Image truth(int factor = 2) const;
    /// The enlarged image's pixels whose neighbourhood, some frame pixels wide, varies by less than 1e-3.
    cv::Mat_<uchar> flat(int factor = 2) const;

  private:
    struct Wave {
        double amplitude, kx, ky, phase;
    };
    struct Plate {
        cv::Point2d centre;
        cv::Size2d half;
        double height, softness;
        double at(double x, double y, double blur) const;
    };
    cv::Size size_;
    double level_;
    std::vector<Wave> waves_;
    std::vector<Plate> plates_;
};

/// Adds normal noise.
Image noisy(const Image& image, unsigned seed, double sigma);
/// One frame per pose, each with its own noise.
std::vector<Image> burst(const AnalyticScene& scene, const std::vector<Pose>& poses, double noise,
                         unsigned seed = 1);
/// A hand-held burst of n frames about the reference, which is frame n / 2.
std::vector<Pose> handHeld(int n, double degrees = 0.0, double zoom = 0.0);

vision::SrPreciseResult enhance(const std::vector<Image>& frames, int reference,
                                const vision::SrPreciseOptions& options = vision::SrPreciseOptions());
Image bicubic(const Image& frame, int factor = 2);
/// Error in decibels that an image is better than bicubic interpolation of the reference by, against the truth.
double gainOverBicubic(const Image& image, const Image& reference, const Image& truth);

}  // namespace oravo::test

#endif
