#include "vision/superresolution/reference/SuperResolutionFft2d.h"

#include "vision/superresolution/detail/transform/GaussianFilter.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/reference/SuperResolutionFft2d";

}  // namespace

SuperResolutionFft2d::SuperResolutionFft2d(int width, int height)
    : body_(detail::Body<detail::FilteringFft2d>::make(detail::checkedTransformSize(
          width, height, {kSource, __LINE__, "oravo::vision::SuperResolutionFft2d::SuperResolutionFft2d"}))) {
}

void SuperResolutionFft2d::forward(const float* in, std::complex<float>* out) {
    body_->fft.forward(in, out);
}

void SuperResolutionFft2d::backward(const std::complex<float>* in, float* out) {
    body_->fft.backward(in, out);
}

void SuperResolutionFft2d::gaussFft(int r, float sigma, std::complex<float>* out, float* taps) {
    body_->filter.transferFunction(r, sigma, out, taps,
                                   {kSource, __LINE__, "oravo::vision::SuperResolutionFft2d::gaussFft"});
}

}  // namespace oravo::vision
