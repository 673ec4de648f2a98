#ifndef ORAVO_VISION_DETAIL_PIPELINE_FLOATPIPELINE_H
#define ORAVO_VISION_DETAIL_PIPELINE_FLOATPIPELINE_H

#include <algorithm>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <utility>

#include "support/CodeLocation.h"
#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/memory/SlidingWindow.h"
#include "vision/superresolution/detail/pipeline/PipelineParameters.h"
#include "vision/superresolution/detail/pipeline/ReconstructionRun.h"
#include "vision/superresolution/detail/pipeline/RunAccess.h"

namespace oravo::vision {

class SuperResolutionBadPixelHandling;

namespace detail {

/// The image in contiguous memory: itself, or a copy where it is a region of a larger matrix. Throws an
/// Exception that names both sizes when it does not have the size of the pipeline's frames.
inline cv::Mat_<float> denseFrame(const cv::Mat_<float>& image, FrameSize size, const CodeLocation& where) {
    if (image.cols != size.width || image.rows != size.height) {
        raise(ErrorKind::badArgument,
              "Invalid frame of " + std::to_string(image.cols) + " x " + std::to_string(image.rows) +
                  " pixels given, the pipeline takes " + std::to_string(size.width) + " x " +
                  std::to_string(size.height) + ".",
              where);
    }
    return image.isContinuous() ? image : cv::Mat_<float>(image.clone());
}

/// What every pipeline consists of: a window of frames as floats, the engines, and the run over them. Mask is the type of
/// a mask's element, Point that of a shift.
template <class Registration, class Minimization, class Mask, class Point = cv::Point_<float>>
struct FloatPipeline {
    FloatPipeline(int inputWidth, int inputHeight, int windowSize, float srFactor, const CodeLocation& where)
        : referenceIndex(checkedReferenceIndex(0, windowSize)),
          input(checkedSize(inputWidth, inputHeight, where)),
          factor(checkedFactor(srFactor, where)),
          output(enlarged(input, factor, where)),
          registration(inputWidth, inputHeight, windowSize),
          minimization(inputWidth, inputHeight, windowSize, srFactor),
          frames(makeImages<float>(windowSize, input)),
          run(input, output, windowSize) {}

    /// A copy of the frame, as the newest of the window.
    template <class T>
    float* takeIn(const T* image) {
        float* newest = frames.advance().data();
        std::transform(image, image + input.pixelCount(), newest,
                       [](T value) { return static_cast<float>(value); });
        return newest;
    }

    /// A run over the window; see ReconstructionRun. Runs of one Kind share a cap of the coverage.
    template <class Kind, class Deliver>
    float reconstruct(const char* title, SuperResolutionBadPixelHandling* badPixelHandling, Deliver deliver) {
        const int maxCoverage = sharedMaxCoverage<Kind>(factor);
        run.frames.clear();
        for (int i = 0; i < frames.count(); ++i) run.frames.push_back(frames[i].data());
        return run({title, referenceIndex, maxCoverage}, registration, minimization, badPixelHandling,
                   deliver);
    }

    void copyImage(float* out) const { std::copy_n(run.image.data(), output.pixelCount(), out); }

    int referenceIndex;
    FrameSize input;
    float factor;
    FrameSize output;
    float minStructureThreshold = defaults::kMinStructure;
    Registration registration;
    Minimization minimization;
    SlidingWindow<Buffer<float>> frames;
    ReconstructionRun<Point, Mask> run;
};

template <class Pipeline>
const StageTimes& RunAccess::stageTimes(const Pipeline& pipeline) {
    return pipeline.state_->run.stageTimes;
}

template <class Pipeline>
void RunAccess::setReports(Pipeline& pipeline, bool reports) {
    pipeline.state_->run.reports = reports;
}

template <class Pipeline>
void RunAccess::setProgress(Pipeline& pipeline, const std::function<void(double)>& progress) {
    pipeline.state_->run.progress = progress;
}

}  // namespace detail
}  // namespace oravo::vision

#endif
