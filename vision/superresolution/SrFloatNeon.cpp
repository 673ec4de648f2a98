#include "vision/superresolution/SrFloatNeon.h"

#include "support/CodeLocation.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/detail/pipeline/FloatPipeline.h"

namespace oravo::vision {
namespace {

constexpr CodeLocation kConstructor{"vision/superresolution/SrFloatNeon", __LINE__,
                                    "oravo::vision::SrFloatNeon::SrFloatNeon"};

template <class Registration>
using Pipeline = detail::FloatPipeline<Registration, SrFloatNeonMinimization, float>;

}  // namespace

template <class Registration>
struct SrFloatNeon<Registration>::State : Pipeline<Registration> {
    State(int inputWidth, int inputHeight, int windowSize, float srFactor)
        : Pipeline<Registration>(inputWidth, inputHeight, windowSize, srFactor, kConstructor) {}

    template <class Deliver>
    float computeSR(Deliver deliver) {
        return this->template reconstruct<SrFloatNeon>(/*title=*/nullptr, /*badPixelHandling=*/nullptr,
                                                       deliver);
    }
};

template <class Registration>
SrFloatNeon<Registration>::SrFloatNeon(int inputWidth, int inputHeight, int windowSize, float srFactor)
    : state_(detail::Body<State>::make(inputWidth, inputHeight, windowSize, srFactor)) {
}

template <class Registration>
int SrFloatNeon<Registration>::addFrame(const float* image) {
    return loadFrame(image);
}

template <class Registration>
int SrFloatNeon<Registration>::addFrame(const cv::Mat_<float>& image) {
    const CodeLocation here{"vision/superresolution/SrFloatNeon", __LINE__,
                            "oravo::vision::SrFloatNeon::addFrame"};
    return loadFrame(detail::denseFrame(image, state_->input, here).template ptr<float>());
}

template <class Registration>
int SrFloatNeon<Registration>::loadFrame(const float* image) {
    State& s = *state_;
    float* newest = s.takeIn(image);
    s.registration.prepareFrame(newest);
    return 0;
}

template <class Registration>
float SrFloatNeon<Registration>::computeSR(float* out) {
    return state_->computeSR([&] { saveFrame(out); });
}

template <class Registration>
float SrFloatNeon<Registration>::computeSR(cv::Mat_<float>& out) {
    State& s = *state_;
    out.create(s.output.height, s.output.width);
    return s.computeSR([&] { s.run.copyImage(out); });
}

template <class Registration>
void SrFloatNeon<Registration>::clearFrames() {
    state_->frames.clear();
}

template <class Registration>
int SrFloatNeon<Registration>::getInputSize() const {
    return state_->input.pixelCount();
}
template <class Registration>
int SrFloatNeon<Registration>::getOutputSize() const {
    return state_->output.pixelCount();
}
template <class Registration>
int SrFloatNeon<Registration>::getWindowSize() const {
    return state_->frames.capacity();
}

template <class Registration>
void SrFloatNeon<Registration>::setReferenceIndex(int index) {
    state_->referenceIndex = detail::checkedReferenceIndex(index, getWindowSize());
}
template <class Registration>
int SrFloatNeon<Registration>::getReferenceIndex() const {
    return state_->referenceIndex;
}

template <class Registration>
void SrFloatNeon<Registration>::setMaxCGIters(int iterations) {
    state_->minimization.setMaxIter(detail::checkedMaxCGIters(iterations));
}
template <class Registration>
int SrFloatNeon<Registration>::getMaxCGIters() const {
    return state_->minimization.getMaxIter();
}

template <class Registration>
void SrFloatNeon<Registration>::setPsfSigma(float sigma) {
    state_->minimization.setPsfSigma(detail::checkedPsfSigma(sigma));
}
template <class Registration>
float SrFloatNeon<Registration>::getPsfSigma() const {
    return state_->minimization.getPsfSigma();
}

template <class Registration>
void SrFloatNeon<Registration>::setRegError(float error) {
    state_->registration.setRegError(detail::checkedRegError(error));
}
template <class Registration>
float SrFloatNeon<Registration>::getRegError() const {
    return state_->registration.getRegError();
}

template <class Registration>
void SrFloatNeon<Registration>::setRelativeResidue(float residue) {
    state_->minimization.setRelRes(detail::checkedRelativeResidue(residue));
}
template <class Registration>
float SrFloatNeon<Registration>::getRelativeResidue() const {
    return state_->minimization.getRelRes();
}

template <class Registration>
void SrFloatNeon<Registration>::setWeightTV(float weight) {
    state_->minimization.setWeightTV(detail::checkedWeightTV(weight));
}
template <class Registration>
float SrFloatNeon<Registration>::getWeightTV() const {
    return state_->minimization.getWeightTV();
}

template <class Registration>
void SrFloatNeon<Registration>::setMinStructureThreshold(float threshold) {
    state_->minStructureThreshold = threshold;
}
template <class Registration>
float SrFloatNeon<Registration>::getMinStructureThreshold() const {
    return state_->minStructureThreshold;
}

template <class Registration>
void SrFloatNeon<Registration>::getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const {
    state_->registration.getCompleteShifts(shifts);
}

/// One byte per pixel, as if masks were bytes: hosts have come to read no more than that.
template <class Registration>
void SrFloatNeon<Registration>::getMasks(std::vector<cv::Mat_<float>>& masks) const {
    state_->run.copyMasks(masks);
}

template <class Registration>
void SrFloatNeon<Registration>::saveFrame(float* out) const {
    state_->copyImage(out);
}

template class SrFloatNeon<SrFloatNeonRegistration>;

}  // namespace oravo::vision
