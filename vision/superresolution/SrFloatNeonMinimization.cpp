#include "vision/superresolution/SrFloatNeonMinimization.h"

#include "vision/superresolution/SrFloatNeonConvolution.h"
#include "vision/superresolution/detail/numerics/Reductions.h"
#include "vision/superresolution/detail/solver/TotalVariationSolver.h"

namespace oravo::vision {

struct SrFloatNeonMinimization::Family {
    using Point = cv::Point_<float>;
    using Mask = float;
    using Convolution = SrFloatNeonConvolution;
    using Sums = detail::DoubleSums;
    static constexpr auto kFirstPixel = detail::TotalVariation::FirstPixel::own;
    static std::shared_ptr<detail::SolverEngine<float, double>> makeEngine(detail::FrameSize, int, float) {
        return nullptr;  // the vector operators work on dense images
    }
    static constexpr char kMinimize[] = "oravo::vision::SrFloatNeonMinimization::minimize";
};

SrFloatNeonMinimization::SrFloatNeonMinimization(int lw, int lh, int maxFrames, float f)
    : solver_(decltype(solver_)::make(
          lw, lh, maxFrames, f,
          CodeLocation{"vision/superresolution/SrFloatNeonMinimization", __LINE__,
                       "oravo::vision::SrFloatNeonMinimization::SrFloatNeonMinimization"})) {
}

int SrFloatNeonMinimization::minimize(int nFrames, int refIndex, float* const* frames,
                                      const cv::Point_<float>* shifts, float** masks, float* out) {
    return solver_->minimize(nFrames, refIndex, frames, shifts, masks, out);
}

}  // namespace oravo::vision

#define ORAVO_SOLVER SrFloatNeonMinimization
#include "vision/superresolution/detail/solver/SolverParameterMembers.inl"
