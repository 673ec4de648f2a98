#include "vision/superresolution/SrFloat.h"

#include <algorithm>

#include "support/CodeLocation.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/FrameSize.h"
#include "vision/superresolution/detail/PipelineParameters.h"
#include "vision/superresolution/detail/ReconstructionRun.h"
#include "vision/superresolution/detail/SlidingWindow.h"

namespace oravo::vision {
namespace {

CodeLocation constructorAt(int line) {
    return {"vision/superresolution/SrFloat", line, "oravo::vision::SrFloat::SrFloat"};
}

}  // namespace

template <class Registration>
struct SrFloat<Registration>::State {
    State(int inputWidth, int inputHeight, int windowSize, float srFactor)
        : referenceIndex(detail::checkedReferenceIndex(0, windowSize)),
          input(detail::checkedSize(inputWidth, inputHeight, constructorAt(__LINE__))),
          factor(detail::checkedFactor(srFactor, constructorAt(__LINE__))),
          output(detail::enlarged(input, factor, constructorAt(__LINE__))),
          registration(inputWidth, inputHeight, windowSize),
          minimization(inputWidth, inputHeight, windowSize, srFactor),
          badPixelHandling(static_cast<unsigned int>(windowSize)),
          frames(detail::makeImages<float>(windowSize, input)),
          run(input, output, windowSize) {}

    int referenceIndex;
    detail::FrameSize input;
    float factor;
    detail::FrameSize output;
    float minStructureThreshold = 2.0f;
    Registration registration;
    SrFloatMinimization minimization;
    SuperResolutionBadPixelHandling badPixelHandling;
    detail::SlidingWindow<detail::Buffer<float>> frames;
    detail::ReconstructionRun<cv::Point_<float>, char> run;

    template <class Deliver>
    float reconstruct(Deliver deliver) {
        const int maxCoverage = detail::sharedMaxCoverage<SrFloat>(factor);
        run.frames.clear();
        for (int i = 0; i < frames.count(); ++i) run.frames.push_back(frames[i].data());
        return run({"SrFloat", referenceIndex, maxCoverage}, registration, minimization, &badPixelHandling,
                   deliver);
    }
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
    return loadFrame(image.template ptr<float>());
}

template <class Registration>
int SrFloat<Registration>::loadFrame(const float* image) {
    State& s = *state_;
    float* newest = s.frames.advance().data();
    std::copy_n(image, s.input.pixelCount(), newest);
    return detail::repairAndPrepare(s.badPixelHandling, s.input, newest,
                                    [&s](const float* frame) { s.registration.prepareFrame(frame); });
}

template <class Registration>
float SrFloat<Registration>::computeSR(float* out) {
    return state_->reconstruct([&] { saveFrame(out); });
}

template <class Registration>
float SrFloat<Registration>::computeSR(cv::Mat_<float>& out) {
    State& s = *state_;
    out.create(s.output.height, s.output.width);
    return s.reconstruct([&] { s.run.copyImage(out); });
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
    std::copy_n(state_->run.image.data(), state_->output.pixelCount(), out);
}

template class SrFloat<SrFloatRegistration1>;
template class SrFloat<SrFloatRegistration2>;

}  // namespace oravo::vision
