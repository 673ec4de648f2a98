#ifndef ORAVO_TOOLS_PIPELINES_H
#define ORAVO_TOOLS_PIPELINES_H

#include <memory>
#include <opencv2/core.hpp>
#include <vector>

namespace oravo::tools {

/// How the frames of a burst are aligned.
enum class Registration {
    corners,  ///< tracked corners
    phase     ///< phase correlation; even widths only
};

struct PipelineParameters {
    Registration registration = Registration::corners;
    int referenceIndex = 3;  ///< counted back from the newest frame of the window
    float psfSigma = 0.683f;
    float tvWeight = 400.0f;
    int iterations = 8;
    float relativeResidue = 0.007f;
    float registrationError = 0.0001f;
    bool rawCounts = false;
};

/// What the program needs of the library's pipelines, whatever their class; see SrFloat.
class Pipeline {
  public:
    static constexpr int kWindowSize = 5;
    static constexpr int kFactor = 2;

    Pipeline() = default;
    Pipeline(const Pipeline&) = delete;
    Pipeline& operator=(const Pipeline&) = delete;
    virtual ~Pipeline() = default;

    virtual int addFrame(const cv::Mat_<float>& frame) = 0;
    virtual float computeSR(cv::Mat_<float>& out) = 0;
    virtual std::vector<cv::Point2f> completeShifts() const = 0;
};

/// Throws what the library throws for parameters that it refuses.
std::unique_ptr<Pipeline> makePipeline(cv::Size size, const PipelineParameters& parameters);

}  // namespace oravo::tools

#endif
