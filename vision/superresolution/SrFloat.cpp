#include "vision/superresolution/SrFloat.h"

#include "support/CodeLocation.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/pipeline/FloatPipeline.h"

namespace oravo::vision {
namespace {

constexpr CodeLocation kConstructor{"vision/superresolution/SrFloat", __LINE__,
                                    "oravo::vision::SrFloat::SrFloat"};

template <class Registration>
using Pipeline = detail::FloatPipeline<Registration, SrFloatMinimization, char>;

}  // namespace

template <class Registration>
struct SrFloat<Registration>::State : Pipeline<Registration> {
    State(int inputWidth, int inputHeight, int windowSize, float srFactor)
        : Pipeline<Registration>(inputWidth, inputHeight, windowSize, srFactor, kConstructor),
          badPixelHandling(static_cast<unsigned int>(windowSize)) {}

    template <class Deliver>
    float computeSR(Deliver deliver) {
        return this->template reconstruct<SrFloat>("SrFloat", &badPixelHandling, deliver);
    }

    SuperResolutionBadPixelHandling badPixelHandling;
};

template <class Registration>
SrFloat<Registration>::SrFloat(int inputWidth, int inputHeight, int windowSize, float srFactor)
    : state_(detail::Body<State>::make(inputWidth, inputHeight, windowSize, srFactor)) {
}

template <class Registration>
int SrFloat<Registration>::addFrame(const float* image) {
    return loadFrame(image);
}

template <class Registration>
int SrFloat<Registration>::addFrame(const cv::Mat_<float>& image) {
    const CodeLocation here{"vision/superresolution/SrFloat", __LINE__, "oravo::vision::SrFloat::addFrame"};
    return loadFrame(detail::denseFrame(image, state_->input, here).template ptr<float>());
}

template <class Registration>
int SrFloat<Registration>::loadFrame(const float* image) {
    State& s = *state_;
    float* newest = s.takeIn(image);
    return detail::repairAndPrepare(s.badPixelHandling, s.input, newest,
                                    [&s](const float* frame) { s.registration.prepareFrame(frame); });
}

template <class Registration>
float SrFloat<Registration>::computeSR(float* out) {
    return state_->computeSR([&] { saveFrame(out); });
}

template <class Registration>
float SrFloat<Registration>::computeSR(cv::Mat_<float>& out) {
    State& s = *state_;
    out.create(s.output.height, s.output.width);
    return s.computeSR([&] { s.run.copyImage(out); });
}

template <class Registration>
void SrFloat<Registration>::clearFrames() {
    state_->frames.clear();
}

template <class Registration>
int SrFloat<Registration>::getInputSize() const {
    return state_->input.pixelCount();
}
template <class Registration>
int SrFloat<Registration>::getOutputSize() const {
    return state_->output.pixelCount();
}
template <class Registration>
int SrFloat<Registration>::getWindowSize() const {
    return state_->frames.capacity();
}

template <class Registration>
void SrFloat<Registration>::setReferenceIndex(int index) {
    state_->referenceIndex = detail::checkedReferenceIndex(index, getWindowSize());
}
template <class Registration>
int SrFloat<Registration>::getReferenceIndex() const {
    return state_->referenceIndex;
}

template <class Registration>
void SrFloat<Registration>::setMaxCGIters(int iterations) {
    state_->minimization.setMaxIter(detail::checkedMaxCGIters(iterations));
}
template <class Registration>
int SrFloat<Registration>::getMaxCGIters() const {
    return state_->minimization.getMaxIter();
}

template <class Registration>
void SrFloat<Registration>::setPsfSigma(float sigma) {
    state_->minimization.setPsfSigma(detail::checkedPsfSigma(sigma));
}
template <class Registration>
float SrFloat<Registration>::getPsfSigma() const {
    return state_->minimization.getPsfSigma();
}

template <class Registration>
void SrFloat<Registration>::setRegError(float error) {
    state_->registration.setRegError(detail::checkedRegError(error));
}
template <class Registration>
float SrFloat<Registration>::getRegError() const {
    return state_->registration.getRegError();
}

template <class Registration>
void SrFloat<Registration>::setRelativeResidue(float residue) {
    state_->minimization.setRelRes(detail::checkedRelativeResidue(residue));
}
template <class Registration>
float SrFloat<Registration>::getRelativeResidue() const {
    return state_->minimization.getRelRes();
}

template <class Registration>
void SrFloat<Registration>::setWeightTV(float weight) {
    state_->minimization.setWeightTV(detail::checkedWeightTV(weight));
}
template <class Registration>
float SrFloat<Registration>::getWeightTV() const {
    return state_->minimization.getWeightTV();
}

template <class Registration>
void SrFloat<Registration>::setMinStructureThreshold(float threshold) {
    state_->minStructureThreshold = threshold;
}
template <class Registration>
float SrFloat<Registration>::getMinStructureThreshold() const {
    return state_->minStructureThreshold;
}

template <class Registration>
void SrFloat<Registration>::setDataIsNUC(bool isNUC) {
    state_->badPixelHandling.setDataIsNUC(isNUC);
}

template <class Registration>
void SrFloat<Registration>::getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const {
    state_->registration.getCompleteShifts(shifts);
}

template <class Registration>
void SrFloat<Registration>::getMasks(std::vector<cv::Mat_<unsigned char>>& masks) const {
    state_->run.copyMasks(masks);
}

template <class Registration>
void SrFloat<Registration>::saveFrame(float* out) const {
    state_->copyImage(out);
}

template class SrFloat<SrFloatRegistration1>;
template class SrFloat<SrFloatRegistration2>;

}  // namespace oravo::vision
