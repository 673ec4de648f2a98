#ifndef ORAVO_VISION_DETAIL_SOLVER_SOLVERENGINE_H
#define ORAVO_VISION_DETAIL_SOLVER_SOLVERENGINE_H

#include "vision/superresolution/detail/numerics/Threads.h"

namespace oravo::vision::detail {

/// The linear algebra under the solver: holds right-hand side b, estimate x, residual r and search direction
/// d in a layout of its choice, and applies the operator A = L + sum_k H_k^T M_k H_k to them. Scalar is the
/// precision of sums.
template <class Mask, class Scalar>
class SolverEngine {
  public:
    /// One frame of a reconstruction. Pointers stay valid until the next call of backProject.
    struct Frame {
        const float* samples;     ///< normalised, lh x lw
        const float* horizontal;  ///< taps of the horizontal point-spread function
        const float* vertical;    ///< taps of the vertical one
        const Mask* mask;         ///< lh x lw
    };

    SolverEngine() = default;
    SolverEngine(const SolverEngine&) = delete;
    SolverEngine& operator=(const SolverEngine&) = delete;
    virtual ~SolverEngine() = default;

    /// Shares the work from now on; engines that cannot do it alone.
    virtual void setThreads(const Threads&) {}

    /// b = sum_k H_k^T M_k y_k and x = b; returns b . b
    virtual Scalar backProject(const Frame* frames, int count) = 0;
    /// Freezes the total-variation weights from x; startResidual follows.
    virtual void freeze(float negativeInverseWeight, float epsilon, float inverseEpsilon) = 0;
    /// r = b - A x and d = r; returns r . r
    virtual Scalar startResidual() = 0;
    /// q = A d; returns d . q
    virtual Scalar applyToDirection() = 0;
    /// x += alpha d and r -= alpha q; returns r . r
    virtual Scalar step(float alpha) = 0;
    /// d = beta d + r, after a step
    virtual void updateDirection(float beta) = 0;
    /// out[r][c] = deviation x[r + offset][c + offset] + mean, for a result of width x height
    virtual void crop(int offset, int width, int height, float deviation, float mean, float* out) = 0;
};

}  // namespace oravo::vision::detail

#endif
