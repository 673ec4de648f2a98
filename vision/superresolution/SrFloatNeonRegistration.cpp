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

int SrFloatNeonRegistration::doRegistration(int numFrames, int refIndex, float* const* frames,
                                            cv::Point_<float>* shifts, float** masks, float** shiftedFrames) {
    return registration_->doRegistration(numFrames, refIndex, frames, shifts, masks, shiftedFrames,
                                         kTooLargeDisplacement);
}

}  // namespace oravo::vision

#define ORAVO_REGISTRATION SrFloatNeonRegistration
#include "vision/superresolution/detail/registration/CornerRegistrationMembers.inl"
