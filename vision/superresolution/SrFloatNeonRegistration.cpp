#include "vision/superresolution/SrFloatNeonRegistration.h"

#include "vision/superresolution/detail/registration/CornerRegistration.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/SrFloatNeonRegistration";
/// Hosts compare the whole text of this exception, so its line is a constant.
constexpr CodeLocation kTooLargeDisplacement{kSource, 175,
                                             "oravo::vision::SrFloatNeonRegistration::doRegistration"};

}  // namespace

SrFloatNeonRegistration::SrFloatNeonRegistration(int width, int height, int frameCount)
    : registration_(decltype(registration_)::make(
          width, height, frameCount,
          CodeLocation{kSource, __LINE__,
                       "oravo::vision::SrFloatNeonRegistration::SrFloatNeonRegistration"})) {
}

void SrFloatNeonRegistration::prepareFrame(const float* frame) {
    registration_->tracker.prepareFrame(frame);
}

int SrFloatNeonRegistration::doRegistration(int numFrames, int refIndex, float* const* frames,
                                            cv::Point_<float>* shifts, float** masks, float** shiftedFrames) {
    return registration_->doRegistration(numFrames, refIndex, frames, shifts, masks, shiftedFrames,
                                         kTooLargeDisplacement);
}

void SrFloatNeonRegistration::getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const {
    shifts = registration_->completeShifts;
}

void SrFloatNeonRegistration::setBlurRadius(int radius) {
    registration_->tracker.blurRadius = radius;
}
int SrFloatNeonRegistration::getBlurRadius() const {
    return registration_->tracker.blurRadius;
}

void SrFloatNeonRegistration::setRegErrBlurRadius(int radius) {
    registration_->flow.regErrBlurRadius = radius;
}
int SrFloatNeonRegistration::getRegErrBlurRadius() const {
    return registration_->flow.regErrBlurRadius;
}

void SrFloatNeonRegistration::setRegError(float error) {
    registration_->flow.regError = error;
}
float SrFloatNeonRegistration::getRegError() const {
    return registration_->flow.regError;
}

}  // namespace oravo::vision
