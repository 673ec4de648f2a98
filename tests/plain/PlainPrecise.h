#ifndef ORAVO_TESTS_PLAIN_PLAINPRECISE_H
#define ORAVO_TESTS_PLAIN_PLAINPRECISE_H

#include <opencv2/core.hpp>
#include <vector>

#include "vision/superresolution/detail/precise/PreciseKernels.h"

/// Plain twins of the precise engine's kernels, on whole images in their natural order.
namespace oravo::plain {

using vision::detail::precise::BlurTaps;
using vision::detail::precise::PriorParameters;
using vision::detail::precise::SampleRun;
using Plane = cv::Mat_<float>;

/// What a frame's pixel shows of an image of spline coefficients, and its derivatives along columns and rows.
struct SplineValue {
    float value = 0.0f, dx = 0.0f, dy = 0.0f;
};
SplineValue sampleSpline(const Plane& coefficients, int factor, const SampleRun& run, int i);
/// Adds a run's values to the coefficients, by the weights with which it samples them, tap after tap for 64 pixels at a
/// time.
void spreadSpline(Plane& coefficients, int factor, const SampleRun& run, const float* values);
/// Samples, multiplies by weights and spreads. At factor 2 what pixels i and i - 1 add to a coefficient is summed first, for
/// 64 pixels at a time, and for 512 of a run without slopes, which also samples down before along.
void sampleAndSpread(const Plane& from, int factor, const SampleRun& run, const float* weights, Plane& to);

/// The image filtered along its rows (or columns), mirrored at its ends.
Plane blurred(const Plane& image, const BlurTaps& taps, bool alongRows);

/// First plus second order total variation, frozen at an estimate: L = sum over pixels of D^T w D for the differences D
/// to the right and down, and across, down and diagonally twice. The image is mirrored at its border.
class SmoothnessPrior {
  public:
    SmoothnessPrior(const Plane& estimate, const PriorParameters& parameters);
    Plane first, second;  ///< weights
    /// out += L v
    void addProduct(const Plane& v, Plane& out) const;
};

/// By 16 lanes, as sums are defined.
double laneDot(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace oravo::plain

#endif
