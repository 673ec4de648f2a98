#include "vision/superresolution/reference/SuperResolutionRegistration.h"

#include "vision/superresolution/detail/registration/FrameMove.h"
#include "vision/superresolution/detail/registration/PhaseRegistration.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/reference/SuperResolutionRegistration";
constexpr char kConstructor[] = "oravo::vision::SuperResolutionRegistration::SuperResolutionRegistration";
constexpr char kDoRegistration[] = "oravo::vision::SuperResolutionRegistration::doRegistration";
/// Hosts compare the whole text of this exception, so its line is a constant.
constexpr CodeLocation kTooLargeDisplacement{kSource, 91, kDoRegistration};

}  // namespace

struct SuperResolutionRegistration::State {
    State(int width, int height, float factor, int gaussRadius)
        : registration(detail::checkedTransformSize(width, height, {kSource, __LINE__, kConstructor}),
                       gaussRadius, detail::Unmoved::refusedOnly, {kSource, __LINE__, kConstructor}),
          fft(width, height) {
        detail::checkedFactor(factor, {kSource, __LINE__, kConstructor});
    }

    detail::PhaseRegistration<PointF> registration;
    SuperResolutionFft2d fft;
};

SuperResolutionRegistration::SuperResolutionRegistration(int width, int height, float factor, int gaussRadius)
    : state_(detail::Body<State>::make(width, height, factor, gaussRadius)) {
}

int SuperResolutionRegistration::doRegistration(int count, int ref, float* const* frames,
                                                const std::complex<float>* const* spectra, PointF* shifts,
                                                char** masks, float** shiftedFrames) {
    detail::checkPrepared(count, ref, count, {kSource, __LINE__, kDoRegistration});
    state_->registration.doRegistration(count, ref, frames, spectra, shifts, masks, shiftedFrames,
                                        kTooLargeDisplacement);
    return 0;
}

void SuperResolutionRegistration::getCompleteShifts(std::vector<PointF>& out) const {
    out = state_->registration.completeShifts;
}

SuperResolutionFft2d& SuperResolutionRegistration::getFft() {
    return state_->fft;
}

void SuperResolutionRegistration::setGaussRadius(int radius) {
    state_->registration.correlator.setGaussRadius(
        radius, {kSource, __LINE__, "oravo::vision::SuperResolutionRegistration::setGaussRadius"});
}
int SuperResolutionRegistration::getGaussRadius() const {
    return state_->registration.correlator.gaussRadius();
}

void SuperResolutionRegistration::setRegErrBlurRadius(int radius) {
    state_->registration.flow.regErrBlurRadius = radius;
}
int SuperResolutionRegistration::getRegErrBlurRadius() const {
    return state_->registration.flow.regErrBlurRadius;
}

void SuperResolutionRegistration::setRegError(float error) {
    state_->registration.flow.regError = error;
}
float SuperResolutionRegistration::getRegError() const {
    return state_->registration.flow.regError;
}

}  // namespace oravo::vision
