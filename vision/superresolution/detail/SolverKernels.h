#ifndef ORAVO_VISION_DETAIL_SOLVERKERNELS_H
#define ORAVO_VISION_DETAIL_SOLVERKERNELS_H

#include "vision/superresolution/detail/InstructionSet.h"
#include "vision/superresolution/detail/SplitImage.h"

namespace oravo::vision::detail {

/// The hot loops of the solver at factor 2, over split images. This header and SolverKernels.cpp hold plain
/// data and plain loops only: the source is compiled once per instruction set, and nothing in it may be
/// shared between those copies by the linker.

constexpr int kSplitTaps = 6;     ///< taps of the point-spread function at factor 2
constexpr int kGatheredRows = 6;  ///< rows of horizontal sums that one low-resolution row needs
constexpr int kMaskedRows = 3;    ///< low-resolution rows that one extended row needs
constexpr int kFrameGroup = 3;    ///< frames for which a row is read and written once

/// One frame of a sweep.
struct SweepFrame {
    const float* horizontal = nullptr;  ///< taps
    const float* vertical = nullptr;    ///< taps
    const char* mask = nullptr;         ///< lowHeight x lowWidth
    const float* samples = nullptr;     ///< lowHeight x lowWidth, read by back-projection only
    float* gathered = nullptr;          ///< ring of kGatheredRows rows of `pitch`
    float* masked = nullptr;            ///< ring of kMaskedRows rows of `pitch`
};

/// What all sweeps of a solver work on.
struct SweepPlan {
    SplitLayout layout;
    std::ptrdiff_t pitch = 0;  ///< of low-resolution rows in rings, at least lowWidth
    int frameCount = 0;
    const SweepFrame* frames = nullptr;
    const float* zeroRow = nullptr;  ///< `pitch` zeros
    float* spreadRows = nullptr;     ///< rows of lowWidth values with two zeros before and three behind each
    std::ptrdiff_t spreadPitch = 0;  ///< of those rows, of which there are kFrameGroup
};

/// The frozen total-variation weights; see TotalVariation. The four links of a row lie beside each other,
/// which makes one stream of memory of them; the diagonal is summed anew where it is needed, which is cheaper
/// than its memory.
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
    const float* image = nullptr;  ///< the operator's image of the direction
};

struct SolverKernels {
    /// links from the differences of an estimate
    void (*freeze)(const SplitLayout&, const float* estimate, const LinkParameters&, const SplitLinks&);
    /// out = sum_k H_k^T M_k samples_k; returns out . out
    double (*backProject)(const SweepPlan&, float* out);
    /// out = L v + sum_k H_k^T M_k H_k v; returns v . out
    double (*applyOperator)(const SweepPlan&, const SplitLinks&, const float* v, float* out);
    /// residual = direction = rightSide - residual; returns residual . residual
    double (*startResidual)(const SplitLayout&, const float* rightSide, float* residual, float* direction);
    /// estimate += alpha direction, residual -= alpha image; returns residual . residual
    double (*step)(const SplitLayout&, const StepVectors&, float alpha);
    /// direction = beta direction + residual
    void (*turn)(const SplitLayout&, const StepVectors&, float beta);
};

/// The kernels for an instruction set that the machine has.
const SolverKernels& solverKernels(InstructionSet set);

}  // namespace oravo::vision::detail

#endif
