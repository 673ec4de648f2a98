#include "vision/superresolution/reference/SuperResolutionMinimization.h"

#include "vision/superresolution/detail/numerics/Reductions.h"
#include "vision/superresolution/detail/solver/TotalVariationSolver.h"
#include "vision/superresolution/reference/SuperResolutionConvolution.h"

namespace oravo::vision {

struct SuperResolutionMinimization::Family {
    using Point = PointF;
    using Mask = char;
    using Convolution = SuperResolutionConvolution;
    using Sums = detail::SequentialFloatSums;
    static constexpr auto kFirstPixel = detail::TotalVariation::FirstPixel::second;
    static std::shared_ptr<detail::SolverEngine<char, float>> makeEngine(detail::FrameSize, int, float) {
        return nullptr;
    }
    static constexpr char kMinimize[] = "oravo::vision::SuperResolutionMinimization::minimize";
};

SuperResolutionMinimization::SuperResolutionMinimization(int lw, int lh, int maxFrames, float f)
    : solver_(decltype(solver_)::make(
          lw, lh, maxFrames, f,
          CodeLocation{"vision/superresolution/reference/SuperResolutionMinimization", __LINE__,
                       "oravo::vision::SuperResolutionMinimization::SuperResolutionMinimization"})) {
}

int SuperResolutionMinimization::minimize(int count, int ref, float* const* frames, const PointF* shifts,
                                          char** masks, float* out) {
    return solver_->minimize(count, ref, frames, shifts, masks, out);
}

void SuperResolutionMinimization::setPsfSigma(float sigma) {
    solver_->setPsfSigma(sigma);
}
float SuperResolutionMinimization::getPsfSigma() const {
    return solver_->parameters().psfSigma;
}

void SuperResolutionMinimization::setWeightTV(float weight) {
    solver_->setWeightTV(weight);
}
float SuperResolutionMinimization::getWeightTV() const {
    return solver_->parameters().weightTV;
}

void SuperResolutionMinimization::setEpsilon(float epsilon) {
    solver_->setEpsilon(epsilon);
}
float SuperResolutionMinimization::getEpsilon() const {
    return solver_->parameters().epsilon;
}

void SuperResolutionMinimization::setMaxIter(int maxIter) {
    solver_->setMaxIter(maxIter);
}
int SuperResolutionMinimization::getMaxIter() const {
    return solver_->parameters().maxIter;
}

void SuperResolutionMinimization::setRelRes(float relRes) {
    solver_->setRelRes(relRes);
}
float SuperResolutionMinimization::getRelRes() const {
    return solver_->parameters().relRes;
}

}  // namespace oravo::vision
