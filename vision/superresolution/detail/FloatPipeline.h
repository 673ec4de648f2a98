#ifndef ORAVO_VISION_DETAIL_FLOATPIPELINE_H
#define ORAVO_VISION_DETAIL_FLOATPIPELINE_H

#include <algorithm>
#include <opencv2/core.hpp>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/FrameSize.h"
#include "vision/superresolution/detail/PipelineParameters.h"
#include "vision/superresolution/detail/ReconstructionRun.h"
#include "vision/superresolution/detail/SlidingWindow.h"

namespace oravo::vision {

class SuperResolutionBadPixelHandling;

namespace detail {

/// What the pipelines on float frames consist of. Mask is the type of a mask's element.
template <class Registration, class Minimization, class Mask>
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
    float* takeIn(const float* image) {
        float* newest = frames.advance().data();
        std::copy_n(image, input.pixelCount(), newest);
        return newest;
    }

    /// A run over the window; see ReconstructionRun. Pipeline is the public class, whose runs share a cap of coverage.
    template <class Pipeline, class Deliver>
    float reconstruct(const char* title, SuperResolutionBadPixelHandling* badPixelHandling, Deliver deliver) {
        const int maxCoverage = sharedMaxCoverage<Pipeline>(factor);
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
    float minStructureThreshold = 2.0f;
    Registration registration;
    Minimization minimization;
    SlidingWindow<Buffer<float>> frames;
    ReconstructionRun<cv::Point_<float>, Mask> run;
};

}  // namespace detail
}  // namespace oravo::vision

#endif
