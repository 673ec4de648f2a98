#include "tools/simulate/Camera.h"

#include <algorithm>
#include <cmath>

namespace oravo::tools {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kLeastReach = 16;  // of a function without sharp edges in its spectrum; see CameraTest
constexpr double kSigmasReach = 10.0;
constexpr int kFrequencies = 256;  // that the integral is summed over

/// 1 over the inner half of the reach, then down to 0 along a cosine.
double window(double share) {
    return share < 0.5 ? 1.0 : 0.5 - 0.5 * std::cos(2.0 * kPi * std::min(share, 1.0));
}

/// A position as the pixel before it and the rest.
struct Place {
    explicit Place(double position)
        : pixel(static_cast<int>(std::floor(position))), fraction(position - pixel) {}
    int pixel;
    double fraction;
};

}  // namespace

Camera::Camera(double sigma)
    : sigma_(sigma), reach_(std::max(kLeastReach, static_cast<int>(std::ceil(kSigmasReach * sigma)))) {
}

double Camera::response(double distance) const {
    double sum = 0.0;
    for (int i = 0; i < kFrequencies; ++i) {
        const double f = 0.5 * (i + 0.5) / kFrequencies;
        sum += std::exp(-2.0 * kPi * kPi * sigma_ * sigma_ * f * f) * std::cos(2.0 * kPi * f * distance);
    }
    return sum / kFrequencies * window(std::abs(distance) / reach_);
}

/// For the pixels from 1 - reach to reach, counted from the one before the position; their sum is 1.
std::vector<double> Camera::taps(double fraction) const {
    std::vector<double> all;
    double sum = 0.0;
    for (int p = 1 - reach_; p <= reach_; ++p) {
        all.push_back(response(p - fraction));
        sum += all.back();
    }
    for (double& tap : all) tap /= sum;
    return all;
}

cv::Mat_<float> Camera::frame(const cv::Mat_<float>& picture, cv::Size size, cv::Point2d origin,
                              cv::Point2d shift) const {
    // A frame's pixels lie two of the picture apart, so that all have the same taps.
    const Place left(origin.x - kFactor * shift.x), top(origin.y - kFactor * shift.y);
    const std::vector<double> across = taps(left.fraction), down = taps(top.fraction);
    const int firstRow = top.pixel + 1 - reach_, firstColumn = left.pixel + 1 - reach_;
    const int taken = static_cast<int>(across.size());
    CV_Assert(firstRow >= 0 && firstColumn >= 0 &&
              firstRow + kFactor * (size.height - 1) + taken <= picture.rows &&
              firstColumn + kFactor * (size.width - 1) + taken <= picture.cols);
    cv::Mat_<double> narrow(kFactor * (size.height - 1) + taken, size.width);
    for (int y = 0; y < narrow.rows; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const float* pixels = picture[firstRow + y] + firstColumn + kFactor * x;
            double sum = 0.0;
            for (int p = 0; p < taken; ++p) sum += across[static_cast<std::size_t>(p)] * pixels[p];
            narrow(y, x) = sum;
        }
    }
    cv::Mat_<float> result(size);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            double sum = 0.0;
            for (int p = 0; p < taken; ++p) {
                sum += down[static_cast<std::size_t>(p)] * narrow(kFactor * y + p, x);
            }
            result(y, x) = static_cast<float>(sum);
        }
    }
    return result;
}

}  // namespace oravo::tools
