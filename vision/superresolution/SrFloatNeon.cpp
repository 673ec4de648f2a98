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

/// One byte per pixel, as if masks were bytes: hosts rely on reading no more than that.
template <class Registration>
void SrFloatNeon<Registration>::getMasks(std::vector<cv::Mat_<float>>& masks) const {
    state_->run.copyMasks(masks);
}

}  // namespace oravo::vision

#define ORAVO_PIPELINE SrFloatNeon
#include "vision/superresolution/detail/pipeline/FloatPipelineMembers.inl"

namespace oravo::vision {

template class SrFloatNeon<SrFloatNeonRegistration>;
template const detail::StageTimes& detail::RunAccess::stageTimes(const SrFloatNeon<SrFloatNeonRegistration>&);
template void detail::RunAccess::setReports(SrFloatNeon<SrFloatNeonRegistration>&, bool);
template void detail::RunAccess::setProgress(SrFloatNeon<SrFloatNeonRegistration>&,
                                             const std::function<void(double)>&);

}  // namespace oravo::vision
