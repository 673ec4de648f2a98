#include "tools/Pipelines.h"

#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatRegistration1.h"
#include "vision/superresolution/SrFloatRegistration2.h"

namespace oravo::tools {
namespace {

template <class Registration>
class FloatPipeline final : public Pipeline {
  public:
    FloatPipeline(cv::Size size, const PipelineParameters& p)
        : pipeline_(size.width, size.height, kWindowSize, static_cast<float>(kFactor)) {
        pipeline_.setReferenceIndex(p.referenceIndex);
        pipeline_.setPsfSigma(p.psfSigma);
        pipeline_.setWeightTV(p.tvWeight);
        pipeline_.setMaxCGIters(p.iterations);
        pipeline_.setRelativeResidue(p.relativeResidue);
        pipeline_.setRegError(p.registrationError);
        pipeline_.setDataIsNUC(p.rawCounts);
    }

    int addFrame(const cv::Mat_<float>& frame) override { return pipeline_.addFrame(frame); }
    float computeSR(cv::Mat_<float>& out) override { return pipeline_.computeSR(out); }
    std::vector<cv::Point2f> completeShifts() const override {
        std::vector<cv::Point2f> shifts;
        pipeline_.getCompleteShifts(shifts);
        return shifts;
    }

  private:
    vision::SrFloat<Registration> pipeline_;
};

}  // namespace

std::unique_ptr<Pipeline> makePipeline(cv::Size size, const PipelineParameters& parameters) {
    if (parameters.registration == Registration::phase) {
        return std::make_unique<FloatPipeline<vision::SrFloatRegistration1>>(size, parameters);
    }
    return std::make_unique<FloatPipeline<vision::SrFloatRegistration2>>(size, parameters);
}

}  // namespace oravo::tools
