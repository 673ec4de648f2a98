#include "tools/enhance/VectorPipeline.h"

#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"

namespace oravo::tools {
namespace {

class VectorPipeline final : public Pipeline {
  public:
    VectorPipeline(cv::Size size, const PipelineParameters& p)
        : pipeline_(size.width, size.height, kWindowSize, static_cast<float>(kFactor)) {
        pipeline_.setReferenceIndex(p.referenceIndex.value());
        applySharedParameters(pipeline_, p);
    }

    int addFrame(const cv::Mat_<float>& frame) override { return pipeline_.addFrame(frame); }
    float computeSR(cv::Mat_<float>& out) override { return pipeline_.computeSR(out); }
    std::vector<cv::Point2f> completeShifts() const override {
        std::vector<cv::Point2f> shifts;
        pipeline_.getCompleteShifts(shifts);
        return shifts;
    }
    /// This pipeline hands out no more than the first quarter of its masks.
    std::vector<cv::Mat_<uchar>> masks() const override { return {}; }

  private:
    vision::SrFloatNeon<vision::SrFloatNeonRegistration> pipeline_;
};

}  // namespace

std::unique_ptr<Pipeline> makeVectorPipeline(cv::Size size, const PipelineParameters& parameters) {
    return std::make_unique<VectorPipeline>(size, parameters);
}

}  // namespace oravo::tools
