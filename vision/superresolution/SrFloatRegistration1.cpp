#include "vision/superresolution/SrFloatRegistration1.h"

#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/registration/FrameMove.h"
#include "vision/superresolution/detail/registration/PhaseRegistration.h"
#include "vision/superresolution/detail/registration/SpectrumWindow.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/SrFloatRegistration1";
constexpr char kConstructor[] = "oravo::vision::SrFloatRegistration1::SrFloatRegistration1";
constexpr char kDoRegistration[] = "oravo::vision::SrFloatRegistration1::doRegistration";
/// Hosts compare the whole text of this exception, so its line is a constant.
constexpr CodeLocation kTooLargeDisplacement{kSource, 144, kDoRegistration};

}  // namespace

struct SrFloatRegistration1::State {
    State(int width, int height, int frameCount)
        : registration(detail::checkedTransformSize(width, height, {kSource, __LINE__, kConstructor}),
                       defaults::kBlurRadius, detail::Unmoved::refusedAndLater,
                       {kSource, __LINE__, kConstructor}),
          spectra(detail::checkedFrameCount(frameCount, {kSource, __LINE__, kConstructor}),
                  registration.correlator.spectrumSize()) {
        registration.completeShifts.reserve(static_cast<std::size_t>(frameCount));
    }

    detail::PhaseRegistration<cv::Point_<float>> registration;
    detail::SpectrumWindow spectra;
};

SrFloatRegistration1::SrFloatRegistration1(int width, int height, int frameCount)
    : state_(detail::Body<State>::make(width, height, frameCount)) {
}

void SrFloatRegistration1::prepareFrame(const float* frame) {
    state_->registration.correlator.fft().forward(frame, state_->spectra.advance().data());
}

int SrFloatRegistration1::doRegistration(int numFrames, int refIndex, float* const* frames,
                                         cv::Point_<float>* shifts, char** masks, float** shiftedFrames) {
    State& s = *state_;
    detail::checkPrepared(numFrames, refIndex, s.spectra.count(), {kSource, __LINE__, kDoRegistration});
    s.registration.doRegistration(numFrames, refIndex, frames, s.spectra.data(), shifts, masks, shiftedFrames,
                                  kTooLargeDisplacement);
    return 0;
}

void SrFloatRegistration1::getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const {
    shifts = state_->registration.completeShifts;
}

void SrFloatRegistration1::setGaussRadius(int radius) {
    state_->registration.correlator.setGaussRadius(
        radius, {kSource, __LINE__, "oravo::vision::SrFloatRegistration1::setGaussRadius"});
}
int SrFloatRegistration1::getGaussRadius() const {
    return state_->registration.correlator.gaussRadius();
}

void SrFloatRegistration1::setRegErrBlurRadius(int radius) {
    state_->registration.flow.regErrBlurRadius = radius;
}
int SrFloatRegistration1::getRegErrBlurRadius() const {
    return state_->registration.flow.regErrBlurRadius;
}

void SrFloatRegistration1::setRegError(float error) {
    state_->registration.flow.regError = error;
}
float SrFloatRegistration1::getRegError() const {
    return state_->registration.flow.regError;
}

}  // namespace oravo::vision
