#include "vision/superresolution/detail/choice/WindowPipeline.h"

#include <type_traits>

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::vision::detail {
namespace {

using ByVectors = SrFloatNeon<SrFloatNeonRegistration>;

/// A pipeline's class behind the common interface. The vector pipeline repairs no bad pixels and hands out no more than the
/// first quarter of its masks. The reference pipeline runs on float frames here, so that bad pixels are repaired and
/// the image keeps its fractions of a count; its reference is always the newest frame.
template <class Library>
class Wrapped final : public WindowPipeline {
    static constexpr bool kIsVector = std::is_same_v<Library, ByVectors>;
    static constexpr bool kIsReference = std::is_same_v<Library, SuperResolution>;

  public:
    Wrapped(cv::Size size, const WindowParameters& p)
        : enlarged_(size * kFactor),
          pipeline_(size.width, size.height, p.windowSize, static_cast<float>(kFactor)) {
        setReferenceIndex(p.referenceIndex);
        RunAccess::setReports(pipeline_, p.report);
        RunAccess::setProgress(pipeline_, p.progress);
        pipeline_.setPsfSigma(p.psfSigma);
        pipeline_.setWeightTV(p.tvWeight);
        pipeline_.setMaxCGIters(p.iterations);
        pipeline_.setRelativeResidue(p.relativeResidue);
        pipeline_.setRegError(p.registrationError);
        if constexpr (!kIsVector) pipeline_.setDataIsNUC(p.rawCounts);
        if constexpr (!kIsVector && !kIsReference) pipeline_.setThreads(p.threads);
    }

    int addFrame(const cv::Mat_<float>& frame) override {
        if constexpr (kIsReference) {
            return pipeline_.addFrame(frame.ptr<float>());
        } else {
            return pipeline_.addFrame(frame);
        }
    }

    float computeSR(cv::Mat_<float>& out) override {
        if constexpr (kIsReference) {
            out.create(enlarged_);
            return pipeline_.computeSR(out.ptr<float>());
        } else {
            return pipeline_.computeSR(out);
        }
    }

    void setReferenceIndex([[maybe_unused]] int index) override {
        if constexpr (!kIsReference) pipeline_.setReferenceIndex(index);
    }

    std::vector<cv::Point2f> completeShifts() const override {
        std::vector<std::conditional_t<kIsReference, PointF, cv::Point2f>> found;
        pipeline_.getCompleteShifts(found);
        std::vector<cv::Point2f> shifts;
        shifts.reserve(found.size());
        for (const auto& d : found) shifts.emplace_back(d.x, d.y);
        return shifts;
    }

    std::vector<cv::Mat_<uchar>> masks() const override {
        std::vector<cv::Mat_<uchar>> masks;
        if constexpr (!kIsVector) pipeline_.getMasks(masks);
        return masks;
    }

    StageTimes stageTimes() const override {
        if constexpr (kIsVector) {
            return {};
        } else {
            return RunAccess::stageTimes(pipeline_);
        }
    }

  private:
    cv::Size enlarged_;
    Library pipeline_;
};

}  // namespace

std::unique_ptr<WindowPipeline> makeWindowPipeline(cv::Size size, const WindowParameters& p) {
    switch (p.kind) {
        case PipelineKind::vector:
            return std::make_unique<Wrapped<ByVectors>>(size, p);
        case PipelineKind::reference:
            return std::make_unique<Wrapped<SuperResolution>>(size, p);
        default:
            break;
    }
    if (p.registration == Registration::phase)
        return std::make_unique<Wrapped<SrFloat<SrFloatRegistration1>>>(size, p);
    return std::make_unique<Wrapped<SrFloat<SrFloatRegistration2>>>(size, p);
}

}  // namespace oravo::vision::detail
