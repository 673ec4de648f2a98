#include "tools/enhance/ReferencePipeline.h"

#include "vision/superresolution/reference/SuperResolution.h"

namespace oravo::tools {
namespace {

class ReferencePipeline final : public Pipeline {
  public:
    ReferencePipeline(cv::Size size, const PipelineParameters& p)
        : enlarged_(size * kFactor),
          pipeline_(size.width, size.height, kWindowSize, static_cast<float>(kFactor)) {
        applySharedParameters(pipeline_, p);
        pipeline_.setDataIsNUC(p.rawCounts);
    }

    int addFrame(const cv::Mat_<float>& frame) override { return pipeline_.addFrame(frame.ptr<float>()); }

    float computeSR(cv::Mat_<float>& out) override {
        out.create(enlarged_);
        return pipeline_.computeSR(out.ptr<float>());
    }

    std::vector<cv::Point2f> completeShifts() const override {
        std::vector<PointF> found;
        pipeline_.getCompleteShifts(found);
        std::vector<cv::Point2f> shifts;
        shifts.reserve(found.size());
        for (const PointF& d : found) shifts.emplace_back(d.x, d.y);
        return shifts;
    }
    std::vector<cv::Mat_<uchar>> masks() const override { return masksOf(pipeline_); }
    vision::detail::StageTimes stageTimes() const override {
        return vision::detail::RunAccess::stageTimes(pipeline_);
    }

  private:
    cv::Size enlarged_;
    vision::SuperResolution pipeline_;
};

}  // namespace

std::unique_ptr<Pipeline> makeReferencePipeline(cv::Size size, const PipelineParameters& parameters) {
    return std::make_unique<ReferencePipeline>(size, parameters);
}

}  // namespace oravo::tools
