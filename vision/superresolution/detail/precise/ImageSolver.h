#ifndef ORAVO_VISION_DETAIL_PRECISE_IMAGESOLVER_H
#define ORAVO_VISION_DETAIL_PRECISE_IMAGESOLVER_H

#include <functional>
#include <utility>
#include <vector>

#include "vision/superresolution/detail/precise/FrameOperator.h"
#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/SmoothnessPrior.h"

namespace oravo::vision::detail::precise {

/// When a solver stops.
struct SolverLimits {
    int freezes = 8;          ///< how often the prior is linearised, at most
    int steps = 8;            ///< of conjugate gradients after each
    double tolerance = 1e-3;  ///< root mean square change of the image from one linearisation to the next
};

/// Finds the image x that minimises
///
///     (1/2) sum_k sum_q w_k(q) (y_k(q) - (S_k B x)(q))^2  +  P(x)
///
/// with B the camera's blur, S_k the sampling of a spline image where frame k's pixels lie, y_k its values less offset
/// and pattern over its gain, and P the prior; by lagged diffusivity and conjugate gradients (M. R. Hestenes,
/// E. Stiefel, J. Research NBS 49, 1952) with a diagonal preconditioner.
class ImageSolver {
  public:
    ImageSolver(const Grid& grid, const BlurShape& blur, const Threads& threads = Threads());

    /// Moves the image to the minimum for weights and motions as they stand.
    /// @param pattern  of the sensor, subtracted from each frame's (value - offset) / gain; empty for none
    void solve(const std::vector<FrameState>& frames, const Buffer<float>& pattern, double strength,
               const SolverLimits& limits, const PaddedImage& image);

    /// out = A^-1 sum_k B^T S_k^T w_k values_k for the operator A of the last linearisation, by `steps` steps.
    void propagate(const std::vector<FrameState>& frames, const std::vector<Buffer<float>>& values, int steps,
                   const PaddedImage& out);

    /// Coefficients of an image, to be sampled.
    const SplineImage& coefficients(const PaddedImage& image);
    /// out = sum_k S_k^T w_k: how much of the frames' weight lies on each pixel.
    void sensitivity(const std::vector<FrameState>& frames, const PaddedImage& out);
    /// The same for weights of 1 wherever a frame has a value.
    void presence(const std::vector<FrameState>& frames, const PaddedImage& out);

    /// Called before each step. What it throws ends the solution, and leaves the image as far as it has come.
    void setCheckpoint(std::function<void()> checkpoint) { checkpoint_ = std::move(checkpoint); }

    const Grid& grid() const { return grid_; }
    long steps() const { return steps_; }

  private:
    void spread(const std::vector<FrameState>& frames, Buffer<float> FrameState::*values,
                const PaddedImage& out);
    void prepareInverse();
    void keep(const PaddedImage& image);
    /// Since it was kept.
    double squaredChange(const PaddedImage& image);
    double sumOfRows() const;
    void conjugateGradients(const PaddedImage& estimate, int steps);

    Grid grid_;
    Threads threads_;
    FrameOperator operator_;
    SmoothnessPrior prior_;
    float sampleEnergy_;
    SplineImage coefficients_;
    PaddedImage sensitivity_, rightSide_, residual_, direction_, product_, inverse_, before_;
    std::vector<double> rowSums_;  ///< of a dot product, to be added in the order of the rows
    long steps_ = 0;
    std::function<void()> checkpoint_;
};

}  // namespace oravo::vision::detail::precise

#endif
