#ifndef ORAVO_VISION_DETAIL_SOLVER_SPLITENGINE_H
#define ORAVO_VISION_DETAIL_SOLVER_SPLITENGINE_H

#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/solver/SolverEngine.h"
#include "vision/superresolution/detail/solver/SolverKernels.h"
#include "vision/superresolution/detail/solver/SplitImage.h"

namespace oravo::vision::detail {

/// The engine for factor 2: split images, one sweep over the rows for all frames, kernels for the machine's
/// instruction set.
class SplitEngine final : public SolverEngine<char, double> {
  public:
    SplitEngine(FrameSize low, int maxFrames, InstructionSet level = instructionSet());

    double backProject(const Frame* frames, int count) override;
    void freeze(float negativeInverseWeight, float epsilon, float inverseEpsilon) override;
    double startResidual() override;
    double applyToDirection() override;
    double step(float alpha) override;
    void turn(float beta) override;
    void crop(int offset, int width, int height, float deviation, float mean, float* out) override;

  private:
    SplitLinks links() const { return {links_.data()}; }
    StepVectors vectors() const;
    Leftover takeLeftover();
    /// Moves the estimate when no sweep is to follow.
    void settleEstimate();

    const SolverKernels& kernels_;
    SplitLayout layout_;
    Buffer<float> links_;
    SplitImage rightSide_;
    SplitImage estimate_;
    SplitImage residual_;
    SplitImage direction_;
    SplitImage image_;
    Buffer<float> rows_;
    std::vector<SweepFrame> frames_;
    SweepPlan plan_;
    // What can be done row by row in the next sweep waits for it: the freezing of links for startResidual, the turn
    // of the direction for applyToDirection, the move of the estimate for either.
    LinkParameters linkParameters_;
    float alpha_ = 0.0f;
    float beta_ = 0.0f;
    bool moves_ = false;
    bool turns_ = false;
};

}  // namespace oravo::vision::detail

#endif
