#ifndef ORAVO_VISION_DETAIL_REGISTRATION_FLOWREFINEMENT_H
#define ORAVO_VISION_DETAIL_REGISTRATION_FLOWREFINEMENT_H

#include <opencv2/core.hpp>

#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/registration/FrameMove.h"

namespace oravo::vision::detail {

/// The sub-pixel step of every registration: one global Gauss-Newton step for a pure translation (B. D.
/// Lucas, T. Kanade, "An iterative image registration technique", IJCAI 1981) over the overlap of reference R
/// and frame F, and the validity mask that follows from its residual.
///
/// With g the gradient of R and e = F(p + d) - R(p) for the whole-pixel estimate d, the correction (u, v) is
/// the least-squares solution of e + g . (u, v) = 0. A pixel is valid where the mean of its neighbourhood's
/// squared residuals, over the sum of the squared gradients, stays below regError.
///
/// Images are dense; shifts follow F(p + d) = R(p). Copies share the work images.
class FlowRefinement {
  public:
    /// What one refinement at a time works in. Copies share it.
    struct Work {
        explicit Work(FrameSize size);
        Buffer<float> error, smoothedError, filterScratch;
    };

    explicit FlowRefinement(FrameSize size);

    float regError = defaults::kRegError;
    int regErrBlurRadius = defaults::kRegErrBlurRadius;

    /// Computes the gradients of a run's reference, and their sums over the whole frame.
    void setReference(const float* reference);

    /// Refines a whole-pixel estimate and marks the frame's valid pixels in its mask with 1, leaving all
    /// others as they are. Frames that do not meet the reference, or an overlap without structure, yield a
    /// shift that is not finite, and no valid pixel.
    template <class Mask>
    cv::Point_<float> refine(const float* reference, const float* frame, cv::Point_<int> shift, Mask* mask) {
        return refine(reference, frame, shift, mask, work_);
    }
    /// The same; frames may be refined at once, each in other work images.
    template <class Mask>
    cv::Point_<float> refine(const float* reference, const float* frame, cv::Point_<int> shift, Mask* mask,
                             const Work& work) const {
        const cv::Point_<float> refined = refineShift(reference, frame, shift, work);
        const Overlap valid(size_, roundToWhole(refined.x), roundToWhole(refined.y));
        for (int y = valid.y; y < valid.y + valid.height; ++y) {
            const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(y) * size_.width + valid.x;
            const float* __restrict error = work.smoothedError.data() + first;
            Mask* __restrict row = mask + first;
            const float threshold = regError;
            // Written without a branch, for vectors: what is not valid keeps its value.
            for (int i = 0; i < valid.width; ++i) row[i] = threshold > error[i] ? Mask(1) : row[i];
        }
        return refined;
    }

  private:
    /// Sums of products of the gradient's components: the normal matrix of the step.
    struct NormalMatrix {
        double xx = 0.0;
        double xy = 0.0;
        double yy = 0.0;
    };

    NormalMatrix gradientSums(int x, int y, int width, int height) const;
    NormalMatrix outside(const Overlap& overlap) const;
    void fillErrorOutside(const Overlap& overlap, const Work& work) const;
    cv::Point_<float> refineShift(const float* reference, const float* frame, cv::Point_<int> shift,
                                  const Work& work) const;
    void computeError(const float* reference, const float* frame, const Overlap& overlap,
                      std::ptrdiff_t offset, float u, float v, float scale, const Work& work) const;

    FrameSize size_;
    Buffer<float> gradX_;
    Buffer<float> gradY_;
    Work work_;
    float sumGxx_ = 0.0f;
    float sumGxy_ = 0.0f;
    float sumGyy_ = 0.0f;
};

}  // namespace oravo::vision::detail

#endif
