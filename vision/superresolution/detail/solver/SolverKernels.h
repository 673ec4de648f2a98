#ifndef ORAVO_VISION_DETAIL_SOLVER_SOLVERKERNELS_H
#define ORAVO_VISION_DETAIL_SOLVER_SOLVERKERNELS_H

#include "vision/superresolution/detail/numerics/InstructionSet.h"
#include "vision/superresolution/detail/numerics/LaneSum.h"
#include "vision/superresolution/detail/solver/SplitImage.h"

namespace oravo::vision::detail {

/// The hot loops of the solver at factor 2, over split images. This header and SolverKernels.cpp hold plain
/// data and plain loops only: the source is compiled once per instruction set, and nothing in it may be
/// shared between those copies by the linker.

constexpr int kSplitTaps = 6;   ///< taps of the point-spread function at factor 2
constexpr int kMaskedRows = 3;  ///< low-resolution rows that one extended row needs
constexpr int kFrameGroup = 3;  ///< frames for which a row is read and written once
constexpr int kRowsAhead = 4;   ///< how many rows before their use rows are prefetched

/// Two bands of a sweep both read so many rows above and below the row where they meet.
constexpr int kSharedRows = 4;

/// One frame of a sweep.
struct SweepFrame {
    const float* horizontal = nullptr;  ///< taps
    const float* vertical = nullptr;    ///< taps
    const char* mask = nullptr;         ///< lowHeight x lowWidth
    const float* samples = nullptr;     ///< lowHeight x lowWidth, read by back-projection only
    float* open = nullptr;    ///< two rows of `pitch`: sums so far of the next two low-resolution rows
    float* masked = nullptr;  ///< ring of kMaskedRows rows of `pitch`
    float* spread[2] = {};    ///< rows of lowWidth values, two zeros before and three after each
};

/// The part of an image that one thread sweeps: rows 2 `first` to 2 `end` - 1 of the extended image, and all after them where
/// `end` is the frames' height. What its first rows need of the sample rows above, the sweep computes once more.
struct SweepBand {
    int first = 0;  ///< sample row, 0 or at least kSharedRows
    int end = 0;    ///< sample row after the last
};

/// What all sweeps of a thread work on.
struct SweepPlan {
    SplitLayout layout;
    int frameCount = 0;
    const SweepFrame* frames = nullptr;
    const float* zeroRow = nullptr;  ///< a low-resolution row
    float* factors = nullptr;        ///< a low-resolution row, for one row of a mask
};

/// The frozen total-variation weights; see TotalVariation. The four links of a row lie beside each other, so
/// that they are one stream of memory. The diagonal is summed anew where it is needed, which is cheaper than
/// reading it from memory.
struct SplitLinks {
    float* memory =
        nullptr;  ///< rows -1 .. rows() - 1, each of 4 `stride`: east, south, south-east, south-west

    static std::size_t elements(const SplitLayout& layout) {
        return 4 * static_cast<std::size_t>(layout.stride) * (static_cast<std::size_t>(layout.rows()) + 1);
    }
};

struct LinkParameters {
    float negativeInverseWeight = 0.0f;
    float epsilon = 0.0f;
    float inverseEpsilon = 0.0f;
};

/// Vectors of a conjugate-gradient step, all split images.
struct StepVectors {
    float* estimate = nullptr;
    float* direction = nullptr;
    float* residual = nullptr;
    float* image = nullptr;  ///< of the direction under the operator
};

/// Vector updates of a step that are deferred to the next sweep, which reads the same rows; null where there is none.
struct DeferredUpdates {
    const float* alpha = nullptr;  ///< estimate += *alpha direction
    const float* beta = nullptr;   ///< then direction = *beta direction + residual
};

/// Each works on a band, or on rows from `first` to `end` - 1 of the extended image. Sums may be null: those of a band can only
/// be added once those of the bands above it are, by addProducts. Where bands meet, updates that are due on the way of a
/// sweep, in the kSharedRows above and below, are made before it by updateRows, and the links of the row above by freezeRow.
struct SolverKernels {
    /// out = copy = sum_k H_k^T M_k samples_k; adds out . out
    void (*backProject)(const SweepPlan&, SweepBand, float* out, float* copy, LaneSum*);
    /// estimate += *alpha direction unless alpha is null; links from the differences of the estimate, then residual =
    /// direction = rightSide - A estimate; adds residual . residual
    void (*startResidual)(const SweepPlan&, SweepBand, const SplitLinks&, const LinkParameters&,
                          const StepVectors&, const float* rightSide, const float* alpha, LaneSum*);
    /// The deferred updates, then image = A direction, with A v = L v + sum_k H_k^T M_k H_k v; adds direction . image
    void (*applyOperator)(const SweepPlan&, SweepBand, const SplitLinks&, const StepVectors&, DeferredUpdates,
                          LaneSum*);
    /// residual -= alpha image; adds residual . residual
    void (*reduceResidual)(const SplitLayout&, const StepVectors&, float alpha, int first, int end, LaneSum*);
    void (*updateRows)(const SplitLayout&, const StepVectors&, DeferredUpdates, int first, int end);
    void (*freezeRow)(const SplitLayout&, const float* estimate, const LinkParameters&, const SplitLinks&,
                      int y);
    /// Adds a . b.
    void (*addProducts)(const SplitLayout&, const float* a, const float* b, int first, int end, LaneSum*);
};

/// The kernels for an instruction set that the machine has.
const SolverKernels& solverKernels(InstructionSet set);

}  // namespace oravo::vision::detail

#endif
