#ifndef ORAVO_VISION_DETAIL_SOLVER_TOTALVARIATIONSOLVER_H
#define ORAVO_VISION_DETAIL_SOLVER_TOTALVARIATIONSOLVER_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support/CodeLocation.h"
#include "vision/superresolution/Defaults.h"
#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/numerics/GaussianPsf.h"
#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/solver/DenseEngine.h"
#include "vision/superresolution/detail/solver/SolverEngine.h"

namespace oravo::vision::detail {

/// Multi-frame super-resolution by conjugate gradients and total variation, for every family of engines.
///
/// Frame k is modelled as y_k = H_k x, the extended high-resolution image x blurred by the frame's
/// point-spread function and sampled, with a mask M_k of its usable pixels. The estimate minimises
///   1/2 sum_k || M_k (H_k x - y_k) ||^2  +  TV(x) / weight,
/// by solving (L + sum_k H_k^T M_k H_k) x = sum_k H_k^T M_k y_k with L the total-variation operator,
/// linearised again (lagged diffusivity) whenever conjugate gradients have converged.
///
/// A Family states what the engines differ in:
///   Point        a shift with members x, y, in low-resolution pixels
///   Mask         element type of a mask
///   Convolution  the operator pair H, H^T M
///   Sums         precision of sums: Scalar, sum, dot, squaredDeviations
///   kFirstPixel  TotalVariation::FirstPixel
///   makeEngine   the engine for (low, maxFrames, factor), null for a DenseEngine
///   kMinimize    qualified name of minimize, for error locations
template <class Family>
class TotalVariationSolver {
  public:
    using Point = typename Family::Point;
    using Mask = typename Family::Mask;

    struct Parameters {
        float psfSigma = defaults::kPsfSigma;
        float weightTV = defaults::kWeightTV;
        float negativeInverseWeightTV = -1.0f / defaults::kWeightTV;
        float relRes = defaults::kRelativeResidue;
        float epsilon = defaults::kEpsilon;
        float inverseEpsilon = 1.0f / defaults::kEpsilon;
        int maxIter = defaults::kMaxCGIters;
    };

    TotalVariationSolver(int lowWidth, int lowHeight, int maxFrames, float factor, const CodeLocation& where)
        : low_(checkedSize(lowWidth, lowHeight, where)),
          factor_(checkedFactor(factor, where)),
          high_(enlarged(low_, factor, where)),
          psfLength_(static_cast<int>(3.0f * factor)),
          maxFrames_(std::max(maxFrames, 0)),
          basePsf_(psfSize(1)),
          horizontalPsfs_(psfSize(maxFrames_)),
          verticalPsfs_(psfSize(maxFrames_)) {
        const FrameSize extended =
            checkedSize(high_.width + psfLength_ - 1LL, high_.height + psfLength_ - 1LL, where);
        engine_ = Family::makeEngine(low_, maxFrames_, factor);
        if (engine_ == nullptr) {
            engine_ =
                std::make_shared<DenseEngine<Family>>(low_, high_, psfLength_, factor, extended, maxFrames_);
        }
        frames_.reserve(static_cast<std::size_t>(maxFrames_));
        setPsfSigma(parameters_.psfSigma);
    }

    const Parameters& parameters() const { return parameters_; }
    void setPsfSigma(float sigma) {
        parameters_.psfSigma = sigma;
        gaussianPsf(sigma, factor_, psfLength_, basePsf_.data());
    }
    void setWeightTV(float weight) {
        parameters_.weightTV = weight;
        parameters_.negativeInverseWeightTV = -1.0f / weight;
    }
    void setEpsilon(float epsilon) {
        parameters_.epsilon = epsilon;
        parameters_.inverseEpsilon = 1.0f / epsilon;
    }
    void setMaxIter(int maxIter) { parameters_.maxIter = maxIter; }
    void setRelRes(float relRes) { parameters_.relRes = relRes; }
    void setThreads(const Threads& threads) {
        threads_ = threads;
        engine_->setThreads(threads);
    }

    /// The reconstruction; see the public classes. Returns the number of conjugate-gradient steps.
    int minimize(int nFrames, int refIndex, float* const* frames, const Point* shifts,
                 const Mask* const* masks, float* out) {
        if (nFrames < 0 || nFrames > maxFrames_) {
            raise(ErrorKind::badArgument,
                  "Invalid number of frames " + std::to_string(nFrames) + " specified, at most " +
                      std::to_string(maxFrames_) + " are provided for.",
                  {"vision/superresolution/detail/solver/TotalVariationSolver", __LINE__, Family::kMinimize});
        }
        const Normalisation normalisation = normalise(nFrames, refIndex, frames);
        generatePsfs(nFrames, shifts);
        backProject(nFrames, frames, masks);

        int total = 0;
        while (total < parameters_.maxIter) {
            const int steps = conjugateGradients(parameters_.maxIter - total);
            total += steps;
            if (steps == 0) break;
        }
        // The crop leaves one extended pixel more at the bottom and right than at the top and left, which
        // puts low-resolution pixel i, seen without shift, at high-resolution position 2 i + 0.5.
        engine_->crop((psfLength_ - 1) / 2, high_.width, high_.height, normalisation.deviation,
                      normalisation.mean, out);
        return total;
    }

  private:
    using Sums = typename Family::Sums;
    using Scalar = typename Sums::Scalar;

    /// Intensities are solved for in units of the reference frame's standard deviation about its mean.
    struct Normalisation {
        float mean;
        float deviation;
    };

    std::size_t psfSize(int vectors) const {
        return static_cast<std::size_t>(psfLength_) * static_cast<std::size_t>(vectors);
    }
    float* horizontalPsf(int k) const { return horizontalPsfs_.data() + psfSize(k); }
    float* verticalPsf(int k) const { return verticalPsfs_.data() + psfSize(k); }

    Normalisation normalise(int nFrames, int refIndex, float* const* frames) {
        const std::ptrdiff_t n = low_.pixelCount();
        const float* reference = frames[refIndex];
        const float mean = static_cast<float>(Sums::sum(reference, n) / static_cast<Scalar>(n));
        const Scalar squares = Sums::squaredDeviations(reference, mean, n);
        const float variance = static_cast<float>(squares / static_cast<Scalar>(n));
        const float deviation = static_cast<float>(std::sqrt(static_cast<double>(variance)));
        threads_.forEach(nFrames, [&](int k, int) {
            float* frame = frames[k];
            for (std::ptrdiff_t i = 0; i < n; ++i) frame[i] = (frame[i] - mean) / deviation;
        });
        return {mean, deviation};
    }

    void generatePsfs(int nFrames, const Point* shifts) {
        for (int k = 0; k < nFrames; ++k) {
            shiftedPsf(basePsf_.data(), psfLength_, factor_ * shifts[k].x, horizontalPsf(k));
            shiftedPsf(basePsf_.data(), psfLength_, factor_ * shifts[k].y, verticalPsf(k));
        }
    }

    /// b = sum_k H_k^T M_k y_k, which is also the first estimate
    void backProject(int nFrames, float* const* frames, const Mask* const* masks) {
        frames_.clear();
        for (int k = 0; k < nFrames; ++k)
            frames_.push_back({frames[k], horizontalPsf(k), verticalPsf(k), masks[k]});
        const Scalar squares = engine_->backProject(frames_.data(), nFrames);
        inverseRightSideNorm_ = static_cast<float>(Scalar(1) / squares);
    }

    /// Solves for weights frozen from the estimate with at most `budget` steps; returns how many were made.
    int conjugateGradients(int budget) {
        engine_->freeze(parameters_.negativeInverseWeightTV, parameters_.epsilon, parameters_.inverseEpsilon);
        squaredResidual_ = static_cast<float>(engine_->startResidual());
        // Tested in single precision, unlike the test after a step.
        if (parameters_.relRes * parameters_.relRes > squaredResidual_ * inverseRightSideNorm_) return 0;
        for (int step = 0; step < budget; ++step) {
            if (iteration()) return step + 1;
        }
        return budget;
    }

    /// Makes one step; true when the residual is small enough to stop.
    bool iteration() {
        const Scalar curvature = engine_->applyToDirection();
        const float alpha = static_cast<float>(static_cast<Scalar>(squaredResidual_) / curvature);
        const Scalar squares = engine_->step(alpha);
        const float threshold = parameters_.relRes * parameters_.relRes;
        if (threshold > squares * static_cast<Scalar>(inverseRightSideNorm_)) return true;
        engine_->updateDirection(static_cast<float>(squares / static_cast<Scalar>(squaredResidual_)));
        squaredResidual_ = static_cast<float>(squares);
        return false;
    }

    Parameters parameters_;
    FrameSize low_;
    float factor_;
    FrameSize high_;
    int psfLength_;
    int maxFrames_;
    Threads threads_;
    std::vector<float> basePsf_;  // a parameter, so copies have their own
    Buffer<float> horizontalPsfs_;
    Buffer<float> verticalPsfs_;
    std::shared_ptr<SolverEngine<Mask, Scalar>> engine_;
    std::vector<typename SolverEngine<Mask, Scalar>::Frame> frames_;
    float squaredResidual_ = 0.0f;
    float inverseRightSideNorm_ = 0.0f;
};

}  // namespace oravo::vision::detail

#endif
