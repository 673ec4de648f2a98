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

}  // namespace oravo::vision

#define ORAVO_SOLVER SuperResolutionMinimization
#include "vision/superresolution/detail/solver/SolverParameterMembers.inl"
