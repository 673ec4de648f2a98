#include "vision/superresolution/SrFloatFft2d.h"

#include "vision/superresolution/detail/transform/GaussianFilter.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/SrFloatFft2d";

}  // namespace

SrFloatFft2d::SrFloatFft2d(int W, int H)
    : body_(detail::Body<detail::FilteringFft2d>::make(detail::checkedTransformSize(
          W, H, {kSource, __LINE__, "oravo::vision::SrFloatFft2d::SrFloatFft2d"}))) {
}

void SrFloatFft2d::forward(const float* in, std::complex<float>* out) {
    body_->fft.forward(in, out);
}

void SrFloatFft2d::backward(const std::complex<float>* in, float* out) {
    body_->fft.backward(in, out);
}

void SrFloatFft2d::gaussFft(int r, float sigma, std::complex<float>* out, float* taps) {
    body_->filter.transferFunction(r, sigma, out, taps,
                                   {kSource, __LINE__, "oravo::vision::SrFloatFft2d::gaussFft"});
}

void SrFloatFft2d::repairGaussBlur(const float* src, float* dst, int r, const float* taps) {
    body_->filter.repairBorder(src, dst, r, taps,
                               {kSource, __LINE__, "oravo::vision::SrFloatFft2d::repairGaussBlur"});
}

}  // namespace oravo::vision
