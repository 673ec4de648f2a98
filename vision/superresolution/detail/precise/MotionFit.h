#ifndef ORAVO_VISION_DETAIL_PRECISE_MOTIONFIT_H
#define ORAVO_VISION_DETAIL_PRECISE_MOTIONFIT_H

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/Motion.h"
#include "vision/superresolution/detail/precise/SplineGrid.h"

namespace oravo::vision::detail::precise {

/// What a fit starts from, and what it finds.
struct FramePose {
    Motion motion;
    double gain = 1.0;
    double offset = 0.0;
};

struct FitOutcome {
    bool valid = false;    ///< false where too few pixels lie on the grid, or they determine no motion
    double misfit = 0.0;   ///< standard deviation of value - gain image - offset, by its median
    double covered = 0.0;  ///< share of the frame's pixels that lie on the grid
    MotionErrors errors;
};

struct FitLimits {
    int steps = 5;
    int pixels = 40000;   ///< rows are left out of larger frames until about so many remain
    double still = 1e-4;  ///< steps that move the frame by less, in pixels, are the last
};

/// Fits where a frame lies by Gauss-Newton steps (S. Baker, I. Matthews, "Lucas-Kanade 20 years on", Int. J. Computer
/// Vision 56, 2004) on
///
///     sum_q weight(q) rho(values(q) - offset - gain image(W(q)))
///
/// over the parameters of the motion model, gain and offset. rho is Cauchy's function, log(1 + (r / 3 s)^2), with s the
/// standard deviation of the misfit by its median. Standard errors are those of least squares.
class MotionFit {
  public:
    explicit MotionFit(const Grid& grid, const Threads& threads = Threads());

    /// @param values, weight  dense images of the frame's size; pixels of weight 0 are left out
    FitOutcome fit(const SplineImage& image, const float* values, const float* weight, MotionModel model,
                   FitLimits limits, FramePose& pose);

  private:
    struct Equations;
    /// Pixels of a few rows, one value each. Those that are left out have the weight 0.
    struct Points {
        std::vector<float> misfit, slopeX, slopeY, value, weight, x, y;
        std::vector<float> misfits;  ///< of those that take part
        std::size_t size() const { return misfit.size(); }
        void resize(std::size_t size);
    };

    void collect(const SplineImage& image, const float* values, const float* weight, const FramePose& pose,
                 int rowStep);
    void collectRun(const SplineImage& image, const float* values, const float* weight, const FramePose& pose,
                    const SampleRun& run, std::size_t at, Points& points) const;
    Equations normalEquations(MotionModel model, double gain, double scale) const;
    void addEquations(const Points& points, MotionModel model, double gain, double scale, double* sums) const;
    static MotionErrors errorsOf(const Equations& equations, MotionModel model);
    /// Adds a Gauss-Newton step: the motion's parameters, then gain and offset.
    void advance(FramePose& pose, MotionModel model, const double* step) const;

    Grid grid_;
    Threads threads_;
    double unit_;                ///< half the longer side: coordinates are measured in it
    std::vector<Points> parts_;  ///< from the top to the bottom
    std::vector<float> misfits_, magnitudes_;
};

}  // namespace oravo::vision::detail::precise

#endif
