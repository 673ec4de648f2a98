#include "vision/superresolution/SrFloat.h"

#include <algorithm>

#include "support/CodeLocation.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/Buffer.h"
#include "vision/superresolution/detail/FrameSize.h"
#include "vision/superresolution/detail/ImageStack.h"
#include "vision/superresolution/detail/PipelineParameters.h"
#include "vision/superresolution/detail/RunAssessment.h"
#include "vision/superresolution/detail/SlidingWindow.h"
#include "vision/superresolution/detail/TimingReport.h"

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
          shiftedFrames(windowSize, input),
          masks(windowSize, input),
          srImage(output.elements()),
          shifts(static_cast<std::size_t>(windowSize)),
          framePointers(static_cast<std::size_t>(windowSize)) {
        completeShifts.reserve(static_cast<std::size_t>(windowSize));
        frameImages.reserve(static_cast<std::size_t>(windowSize));
    }

    int referenceIndex;
    detail::FrameSize input;
    float factor;
    detail::FrameSize output;
    float minStructureThreshold = 2.0f;
    Registration registration;
    SrFloatMinimization minimization;
    SuperResolutionBadPixelHandling badPixelHandling;

    // Only the frames rotate; what a run writes belongs to window positions and is rewritten by every run.
    detail::SlidingWindow<detail::Buffer<float>> frames;
    detail::ImageStack<float> shiftedFrames;
    detail::ImageStack<char> masks;
    detail::Buffer<float> srImage;
    std::vector<cv::Point_<float>> shifts;

    // Filled anew by every run; kept so that a run allocates nothing.
    std::vector<float*> framePointers;
    std::vector<cv::Point_<float>> completeShifts;
    std::vector<cv::Mat_<float>> frameImages;
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
    float* newest = state_->frames.advance().data();
    std::copy_n(image, state_->input.pixelCount(), newest);
    cv::Mat_<float> frame(state_->input.height, state_->input.width, newest);
    int result = 0;
    try {
        result = state_->badPixelHandling.detectAndReplaceBadPixel(frame);
    } catch (...) {
        // The frame holds its place in the window, so its prepared images must hold theirs: slots stay
        // paired.
        state_->registration.prepareFrame(newest);
        throw;
    }
    state_->registration.prepareFrame(newest);
    return std::min(result, 0);
}

template <class Registration>
float SrFloat<Registration>::computeSR(float* out) {
    State& s = *state_;
    detail::TimingReport report("SrFloat");
    // The first pipeline of the process to run settles the cap for all of its kind, whatever their factors:
    // hosts compare gains of different pipelines on one scale.
    static const int maxCoverage = detail::maxCoverageOf(s.factor);

    const int frameCount = s.frames.count();
    const int reference = detail::referencePosition(frameCount, s.referenceIndex);
    for (int i = 0; i < frameCount; ++i) s.framePointers[static_cast<std::size_t>(i)] = s.frames[i].data();

    report.start();
    const int registered =
        s.registration.doRegistration(frameCount, reference, s.framePointers.data(), s.shifts.data(),
                                      s.masks.data(), s.shiftedFrames.data());
    if (registered < 0) return detail::kRegistrationFailed;
    report.line(" registration:         ");

    s.registration.getCompleteShifts(s.completeShifts);
    report.start();
    const int status =
        detail::motionAndCoverageStatus(s.input, frameCount, s.completeShifts.data(), s.masks.data());
    report.line(" large_displacement:   ");

    report.start();
    const int iterations = s.minimization.minimize(frameCount, reference, s.shiftedFrames.data(),
                                                   s.shifts.data(), s.masks.data(), s.srImage.data());
    report.line(" minimization:         ");
    if (iterations < 0) return static_cast<float>(iterations);

    cv::Mat_<float> enlarged(s.output.height, s.output.width, s.srImage.data());
    s.badPixelHandling.maskBadPixel(enlarged, s.completeShifts);
    s.frameImages.clear();
    for (int i = 0; i < frameCount; ++i) {
        s.frameImages.emplace_back(s.input.height, s.input.width, s.frames[i].data());
    }
    s.badPixelHandling.replaceMaskedPixel(enlarged, s.completeShifts, s.frameImages);

    report.start();
    saveFrame(out);
    const float gain = detail::resolutionGain(s.input, frameCount, s.masks.data(), maxCoverage);
    report.line(" save+srfactor calc:   ");
    report.close();
    return status != 0 ? static_cast<float>(status) : gain;
}

template <class Registration>
float SrFloat<Registration>::computeSR(cv::Mat_<float>& out) {
    out.create(state_->output.height, state_->output.width);
    return computeSR(out.template ptr<float>());
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
    const detail::FrameSize size = state_->input;
    masks.resize(static_cast<std::size_t>(getWindowSize()));
    for (std::size_t i = 0; i < masks.size(); ++i) {
        masks[i].create(size.height, size.width);
        const char* mask = state_->masks.data()[i];
        std::copy_n(reinterpret_cast<const unsigned char*>(mask), size.pixelCount(),
                    masks[i].template ptr<unsigned char>());
    }
}

template <class Registration>
void SrFloat<Registration>::saveFrame(float* out) const {
    std::copy_n(state_->srImage.data(), state_->output.pixelCount(), out);
}

template class SrFloat<SrFloatRegistration1>;
template class SrFloat<SrFloatRegistration2>;

}  // namespace oravo::vision
