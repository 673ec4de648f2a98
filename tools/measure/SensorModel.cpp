#include "tools/measure/SensorModel.h"

#include <cmath>

#include "vision/superresolution/detail/numerics/GaussianPsf.h"

namespace oravo::tools {

SensorModel::SensorModel(cv::Size frameSize, float psfSigma)
    : frameSize_(frameSize),
      convolution_(frameSize.width * kFactor, frameSize.height * kFactor, kTaps, kTaps,
                   static_cast<float>(kFactor)) {
    vision::detail::gaussianPsf(psfSigma, static_cast<float>(kFactor), kTaps, psf_.data());
}

cv::Mat_<float> SensorModel::frame(const cv::Mat_<float>& seen, cv::Point2f remainder) {
    CV_Assert(seen.isContinuous() && seen.size() == frameSize_ * kFactor + cv::Size(kTaps - 1, kTaps - 1));
    const Kernel horizontal = kernel(remainder.x);
    const Kernel vertical = kernel(remainder.y);
    cv::Mat_<float> result(frameSize_);
    convolution_.validCorrToSparse(seen.ptr<float>(), horizontal.data(), vertical.data(),
                                   result.ptr<float>());
    return result;
}

cv::Point SensorModel::wholePixels(cv::Point2f shift) {
    return {static_cast<int>(std::floor(shift.x + 0.5f)), static_cast<int>(std::floor(shift.y + 0.5f))};
}

SensorModel::Kernel SensorModel::kernel(float shift) const {
    Kernel taps{};
    vision::detail::shiftedPsf(psf_.data(), kTaps, static_cast<float>(kFactor) * shift, taps.data());
    return taps;
}

}  // namespace oravo::tools
