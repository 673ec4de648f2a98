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

void SrFloatRegistration2::setThreads(int threads) {
    registration_->setThreads(detail::Threads(threads));
}

void SrFloatRegistration2::findCornersBeside(const std::function<void()>& intake) {
    registration_->findCornersBeside(intake);
}

int SrFloatRegistration2::doRegistration(int numFrames, int refIndex, float* const* frames,
                                         cv::Point_<float>* shifts, char** masks, float** shiftedFrames) {
    return registration_->doRegistration(numFrames, refIndex, frames, shifts, masks, shiftedFrames,
                                         kTooLargeDisplacement);
}

}  // namespace oravo::vision

#define ORAVO_REGISTRATION SrFloatRegistration2
#include "vision/superresolution/detail/registration/CornerRegistrationMembers.inl"
