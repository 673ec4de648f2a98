#ifndef ORAVO_VISION_DETAIL_SOLVER_DENSEENGINE_H
#define ORAVO_VISION_DETAIL_SOLVER_DENSEENGINE_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/memory/GuardedImage.h"
#include "vision/superresolution/detail/solver/SolverEngine.h"
#include "vision/superresolution/detail/solver/TotalVariation.h"

namespace oravo::vision::detail {

/// The general engine: dense images, the family's own operators, any factor.
template <class Family>
class DenseEngine : public SolverEngine<typename Family::Mask, typename Family::Sums::Scalar> {
  public:
    using Mask = typename Family::Mask;
    using Scalar = typename Family::Sums::Scalar;
    using Frame = typename SolverEngine<Mask, Scalar>::Frame;

    DenseEngine(FrameSize low, FrameSize high, int psfLength, float factor, FrameSize extended, int maxFrames)
        : extended_(extended),
          pixels_(extended.pixelCount()),
          convolution_(high.width, high.height, psfLength, psfLength, factor),
          totalVariation_(extended),
          estimate_(extended),
          direction_(extended),
          rightSide_(extended.elements()),
          residual_(extended.elements()),
          image_(extended.elements()),
          lowScratch_(low.elements()),
          scratch_(extended.elements()) {
        frames_.reserve(static_cast<std::size_t>(maxFrames));
    }

    Scalar backProject(const Frame* frames, int count) override {
        frames_.assign(frames, frames + count);
        std::fill_n(rightSide_.data(), pixels_, 0.0f);
        for (const Frame& frame : frames_) addTransposed(frame, frame.samples, rightSide_.data());
        std::copy_n(rightSide_.data(), pixels_, estimate_.data());
        return Sums::dot(rightSide_.data(), rightSide_.data(), pixels_);
    }

    void freeze(float negativeInverseWeight, float epsilon, float inverseEpsilon) override {
        totalVariation_.freeze(estimate_.data(), negativeInverseWeight, epsilon, inverseEpsilon,
                               Family::kFirstPixel);
    }

    Scalar startResidual() override {
        float* residual = residual_.data();
        apply(estimate_.data(), residual);
        for (std::ptrdiff_t i = 0; i < pixels_; ++i) residual[i] = rightSide_.data()[i] - residual[i];
        std::copy_n(residual, pixels_, direction_.data());
        return Sums::dot(residual, residual, pixels_);
    }

    Scalar applyToDirection() override {
        apply(direction_.data(), image_.data());
        return Sums::dot(direction_.data(), image_.data(), pixels_);
    }

    Scalar step(float alpha) override {
        float* __restrict estimate = estimate_.data();
        float* __restrict residual = residual_.data();
        const float* __restrict direction = direction_.data();
        const float* __restrict image = image_.data();
        for (std::ptrdiff_t i = 0; i < pixels_; ++i) {
            estimate[i] += alpha * direction[i];
            residual[i] -= alpha * image[i];
        }
        return Sums::dot(residual, residual, pixels_);
    }

    void updateDirection(float beta) override {
        float* __restrict direction = direction_.data();
        const float* __restrict residual = residual_.data();
        for (std::ptrdiff_t i = 0; i < pixels_; ++i) direction[i] = beta * direction[i] + residual[i];
    }

    void crop(int offset, int width, int height, float deviation, float mean, float* out) override {
        for (int r = 0; r < height; ++r) {
            const float* source =
                estimate_.data() + static_cast<std::ptrdiff_t>(r + offset) * extended_.width + offset;
            float* target = out + static_cast<std::ptrdiff_t>(r) * width;
            for (int c = 0; c < width; ++c) target[c] = deviation * source[c] + mean;
        }
    }

  private:
    using Sums = typename Family::Sums;

    /// out = A v
    void apply(const float* v, float* out) {
        totalVariation_.apply(v, out);
        for (const Frame& frame : frames_) {
            convolution_.validCorrToSparse(v, frame.horizontal, frame.vertical, lowScratch_.data());
            addTransposed(frame, lowScratch_.data(), out);
        }
    }

    /// target += H_k^T M_k lowRes
    void addTransposed(const Frame& frame, const float* lowRes, float* target) {
        const float* __restrict scratch = scratch_.data();
        convolution_.fullConvFromSparse(lowRes, frame.horizontal, frame.vertical, frame.mask,
                                        scratch_.data());
        for (std::ptrdiff_t i = 0; i < pixels_; ++i) target[i] += scratch[i];
    }

    FrameSize extended_;
    std::ptrdiff_t pixels_;
    typename Family::Convolution convolution_;
    TotalVariation totalVariation_;
    GuardedImage estimate_;
    GuardedImage direction_;
    Buffer<float> rightSide_;
    Buffer<float> residual_;
    Buffer<float> image_;
    Buffer<float> lowScratch_;
    Buffer<float> scratch_;
    std::vector<Frame> frames_;
};

}  // namespace oravo::vision::detail

#endif
