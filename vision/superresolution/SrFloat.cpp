#include "vision/superresolution/SrFloat.h"

#include <functional>
#include <type_traits>

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
    int threads = 1;
};

template <class Registration>
int SrFloat<Registration>::addFrame(const cv::Mat_<float>& image) {
    const CodeLocation here{"vision/superresolution/SrFloat", __LINE__, "oravo::vision::SrFloat::addFrame"};
    return loadFrame(detail::denseFrame(image, state_->input, here).template ptr<float>());
}

template <class Registration>
int SrFloat<Registration>::loadFrame(const float* image) {
    State& s = *state_;
    int result = 0;
    const auto intake = [&] {
        result = detail::repairAndPrepare(s.badPixelHandling, s.input, s.takeIn(image),
                                          [&s](const float* frame) { s.registration.prepareFrame(frame); });
    };
    if constexpr (std::is_same_v<Registration, SrFloatRegistration2>) {
        s.registration.findCornersBeside(std::cref(intake));  // which allocates nothing
    } else {
        intake();
    }
    return result;
}

template <class Registration>
void SrFloat<Registration>::setDataIsNUC(bool isNUC) {
    state_->badPixelHandling.setDataIsNUC(isNUC);
}

template <class Registration>
void SrFloat<Registration>::setThreads(int threads) {
    State& s = *state_;
    s.threads = detail::checkedThreads(threads);
    s.minimization.setThreads(threads);
    s.run.threads = detail::Threads(threads);
    if constexpr (std::is_same_v<Registration, SrFloatRegistration2>) s.registration.setThreads(threads);
}

template <class Registration>
int SrFloat<Registration>::getThreads() const {
    return state_->threads;
}

template <class Registration>
void SrFloat<Registration>::getMasks(std::vector<cv::Mat_<unsigned char>>& masks) const {
    state_->run.copyMasks(masks);
}

}  // namespace oravo::vision

#define ORAVO_PIPELINE SrFloat
#include "vision/superresolution/detail/pipeline/FloatPipelineMembers.inl"

namespace oravo::vision {

template class SrFloat<SrFloatRegistration1>;
template class SrFloat<SrFloatRegistration2>;
template const detail::StageTimes& detail::RunAccess::stageTimes(const SrFloat<SrFloatRegistration1>&);
template void detail::RunAccess::setReports(SrFloat<SrFloatRegistration1>&, bool);
template void detail::RunAccess::setProgress(SrFloat<SrFloatRegistration1>&,
                                             const std::function<void(double)>&);
template const detail::StageTimes& detail::RunAccess::stageTimes(const SrFloat<SrFloatRegistration2>&);
template void detail::RunAccess::setReports(SrFloat<SrFloatRegistration2>&, bool);
template void detail::RunAccess::setProgress(SrFloat<SrFloatRegistration2>&,
                                             const std::function<void(double)>&);

}  // namespace oravo::vision
