#ifndef ORAVO_TOOLS_SIMULATE_CAMERA_H
#define ORAVO_TOOLS_SIMULATE_CAMERA_H

#include <opencv2/core.hpp>
#include <vector>

namespace oravo::tools {

/// A camera whose frames have half the resolution of a scene's picture. The scene is the band-limited function through
/// the picture's pixels; optics and pixels together blur it by a Gaussian, and it is sampled exactly where a displaced
/// frame has its pixels. Nothing of the library's own models takes part: images are judged by what this camera saw.
///
/// Along each axis a pixel at position s of the picture is the sum over pixels p of picture(p) h(p - s), with
///   h(t) = integral from -1/2 to 1/2 of exp(-2 pi^2 sigma^2 f^2) cos(2 pi f t) df,
/// the Gaussian without what lies beyond the picture's highest frequency, cut at reach() by a window that leaves its inner
/// half alone, which changes waves of up to 0.35 cycles a pixel by less than 1 % of their amplitude.
class Camera {
  public:
    static constexpr int kFactor = 2;

    /// @param sigma  standard deviation of the blur in pixels of the picture, above 0
    explicit Camera(double sigma);

    /// How many pixels of the picture on each side of a position take part.
    int reach() const { return reach_; }

    /// A frame of this size. Its pixel (x, y) lies at origin + 2 (x, y) - 2 shift of the picture, all of it reach()
    /// pixels inside.
    cv::Mat_<float> frame(const cv::Mat_<float>& picture, cv::Size size, cv::Point2d origin,
                          cv::Point2d shift) const;

  private:
    double response(double distance) const;
    std::vector<double> taps(double fraction) const;

    double sigma_;
    int reach_;
};

}  // namespace oravo::tools

#endif
