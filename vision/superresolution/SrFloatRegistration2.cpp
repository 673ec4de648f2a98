#include "vision/superresolution/SrFloatRegistration2.h"

#include "vision/superresolution/detail/registration/CornerRegistration.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/SrFloatRegistration2";
/// Hosts compare the whole text of this exception, so its line is a constant.
constexpr CodeLocation kTooLargeDisplacement{kSource, 174,
                                             "oravo::vision::SrFloatRegistration2::doRegistration"};

}  // namespace

SrFloatRegistration2::SrFloatRegistration2(int width, int height, int frameCount)
    : registration_(decltype(registration_)::make(
          width, height, frameCount,
          CodeLocation{kSource, __LINE__, "oravo::vision::SrFloatRegistration2::SrFloatRegistration2"})) {
}

void SrFloatRegistration2::prepareFrame(const float* frame) {
    registration_->tracker.prepareFrame(frame);
}

int SrFloatRegistration2::doRegistration(int numFrames, int refIndex, float* const* frames,
                                         cv::Point_<float>* shifts, char** masks, float** shiftedFrames) {
    return registration_->doRegistration(numFrames, refIndex, frames, shifts, masks, shiftedFrames,
                                         kTooLargeDisplacement);
}

void SrFloatRegistration2::getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const {
    shifts = registration_->completeShifts;
}

void SrFloatRegistration2::setBlurRadius(int radius) {
    registration_->tracker.blurRadius = radius;
}
int SrFloatRegistration2::getBlurRadius() const {
    return registration_->tracker.blurRadius;
}

void SrFloatRegistration2::setRegErrBlurRadius(int radius) {
    registration_->flow.regErrBlurRadius = radius;
}
int SrFloatRegistration2::getRegErrBlurRadius() const {
    return registration_->flow.regErrBlurRadius;
}

void SrFloatRegistration2::setRegError(float error) {
    registration_->flow.regError = error;
}
float SrFloatRegistration2::getRegError() const {
    return registration_->flow.regError;
}

}  // namespace oravo::vision
