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

    void setThreads(const Threads& threads) override;
    double backProject(const Frame* frames, int count) override;
    void freeze(float negativeInverseWeight, float epsilon, float inverseEpsilon) override;
    double startResidual() override;
    double applyToDirection() override;
    double step(float alpha) override;
    void updateDirection(float beta) override;
    void crop(int offset, int width, int height, float deviation, float mean, float* out) override;

  private:
    SplitLinks links() const { return {links_.data()}; }
    StepVectors vectors() const;
    DeferredUpdates takeDeferred();
    void addSlot();
    SweepBand bandOf(int band) const;
    /// Calls prepare(row) for each row where bands meet, and then work(plan, band, sum) for each band. Returns the sum, which is
    /// a . b in the order of the rows.
    template <class Prepare, class Work>
    double sweepBands(const float* a, const float* b, const Prepare& prepare, const Work& work);
    /// Updates the estimate where no sweep is to follow.
    void completeEstimate();

    const SolverKernels& kernels_;
    SplitLayout layout_;
    Buffer<float> links_;
    SplitImage rightSide_;
    SplitImage estimate_;
    SplitImage residual_;
    SplitImage direction_;
    SplitImage image_;
    /// What one thread works in.
    struct Slot {
        Buffer<float> rows;
        std::vector<SweepFrame> frames;
        SweepPlan plan;
    };
    int maxFrames_;
    Threads threads_;
    int bands_ = 1;
    std::vector<Slot> slots_;
    // What the next sweep can do row by row is deferred to it: freezing the links to startResidual, updating the direction
    // to applyToDirection, updating the estimate to either.
    LinkParameters linkParameters_;
    float alpha_ = 0.0f;
    float beta_ = 0.0f;
    bool estimateIsDue_ = false;
    bool directionIsDue_ = false;
};

}  // namespace oravo::vision::detail

#endif
