#ifndef ORAVO_TOOLS_MEASURE_SENSORMODEL_H
#define ORAVO_TOOLS_MEASURE_SENSORMODEL_H

#include <array>
#include <opencv2/core.hpp>

#include "vision/superresolution/SrFloatConvolution.h"

namespace oravo::tools {

/// A frame as the library's solver models it: the sharp image of twice the size, correlated with the
/// point-spread function moved by what a shift leaves beyond whole pixels, sampled at every second pixel. The
/// centre of frame pixel i lies at position 2 i + 0.5 of the image.
class SensorModel {
  public:
    static constexpr int kFactor = 2;
    static constexpr int kTaps = 3 * kFactor;
    static constexpr int kMarginBefore =
        (kTaps - 1) / 2;  ///< rows and columns that a frame sees before the image
    static constexpr int kMarginAfter = kTaps - 1 - kMarginBefore;  ///< and after it

    /// @param psfSigma  standard deviation of the blur, in pixels of the image
    SensorModel(cv::Size frameSize, float psfSigma);

    /// @param seen       the image with kMarginBefore more rows and columns before it and kMarginAfter after it
    /// @param remainder  of the frame's shift, each within [-0.5, 0.5] frame pixels
    cv::Mat_<float> frame(const cv::Mat_<float>& seen, cv::Point2f remainder);

    /// The whole pixels of a shift; halves count upward.
    static cv::Point wholePixels(cv::Point2f shift);

  private:
    using Kernel = std::array<float, kTaps>;
    Kernel kernel(float shift) const;

    cv::Size frameSize_;
    Kernel psf_{};
    vision::SrFloatConvolution convolution_;
};

}  // namespace oravo::tools

#endif
