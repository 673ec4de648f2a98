#include "vision/superresolution/SrFloatMinimization.h"

#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/detail/numerics/Reductions.h"
#include "vision/superresolution/detail/solver/SplitEngine.h"
#include "vision/superresolution/detail/solver/TotalVariationSolver.h"

namespace oravo::vision {

struct SrFloatMinimization::Family {
    using Point = cv::Point_<float>;
    using Mask = char;
    using Convolution = SrFloatConvolution;
    using Sums = detail::DoubleSums;
    static constexpr auto kFirstPixel = detail::TotalVariation::FirstPixel::own;
    static std::shared_ptr<detail::SolverEngine<char, double>> makeEngine(detail::FrameSize low,
                                                                          int maxFrames, float factor) {
        return factor == 2.0f ? std::make_shared<detail::SplitEngine>(low, maxFrames) : nullptr;
    }
    static constexpr char kMinimize[] = "oravo::vision::SrFloatMinimization::minimize";
};

SrFloatMinimization::SrFloatMinimization(int lw, int lh, int maxFrames, float f)
    : solver_(
          decltype(solver_)::make(lw, lh, maxFrames, f,
                                  CodeLocation{"vision/superresolution/SrFloatMinimization", __LINE__,
                                               "oravo::vision::SrFloatMinimization::SrFloatMinimization"})) {
}

int SrFloatMinimization::minimize(int nFrames, int refIndex, float* const* frames,
                                  const cv::Point_<float>* shifts, char** masks, float* out) {
    return solver_->minimize(nFrames, refIndex, frames, shifts, masks, out);
}

void SrFloatMinimization::setThreads(int threads) {
    solver_->setThreads(detail::Threads(threads));
}

}  // namespace oravo::vision

#define ORAVO_SOLVER SrFloatMinimization
#include "vision/superresolution/detail/solver/SolverParameterMembers.inl"
