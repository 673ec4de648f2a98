#ifndef ORAVO_VISION_DETAIL_PRECISE_FIRSTGUESS_H
#define ORAVO_VISION_DETAIL_PRECISE_FIRSTGUESS_H

#include <optional>
#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FramePyramid.h"
#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/MotionFit.h"

namespace oravo::vision::detail::precise {

/// Finds where frames lie against the reference before there is an image: on blurred frames, in which aliasing and noise
/// are damped, from coarse to fine. No single guess is trusted. At the coarsest level the highest peaks of the
/// correlation over all shifts, no shift at all and hints are refined side by side, and the finer level's misfit decides.
class FirstGuess {
  public:
    FirstGuess(int width, int height, const Threads& threads = Threads());

    void setReference(const FrameState& reference);
    /// Sets motion, gain, offset and agreement of a frame, or clears its `used`.
    void place(const std::vector<Motion>& hints, FrameState& frame);

  private:
    struct Candidate {
        FramePose pose;
        FitOutcome outcome;
    };
    struct Sums {
        double residual = 0.0;               ///< of squared misfits
        double values = 0.0, squares = 0.0;  ///< of the frame
        double count = 0.0;

        void add(double misfit, double value) { add({misfit * misfit, value, value * value, 1.0}); }
        void add(const Sums& other) {
            residual += other.residual;
            values += other.values;
            squares += other.squares;
            count += other.count;
        }
    };
    /// What a placed frame shows less what the reference shows, where both have values.
    struct Misfit {
        Buffer<float> misfit, slope, inside;
        Sums sums;
    };

    std::vector<Motion> correlationPeaks(const PyramidLevel& level) const;
    double correlation(const PyramidLevel& level, int dx, int dy) const;
    void refine(std::vector<Candidate>& candidates, const std::vector<PyramidLevel>& levels);
    void chooseModel(const PyramidLevel& finest, FrameState& frame, Candidate& best);
    Misfit misfitOf(const PyramidLevel& finest, const Candidate& best) const;
    bool showsTheReference(const Misfit& misfit, double scale, const PyramidLevel& finest,
                           const FrameState& frame) const;
    /// Sets whether the frame is used, and its agreement.
    void judge(const PyramidLevel& finest, const Candidate& best, FrameState& frame);

    /// Each thread's own, for the levels.
    struct Fits {
        explicit Fits(const std::vector<PyramidLevel>& levels) {
            for (const PyramidLevel& level : levels) ofLevel.emplace_back(level.grid);
        }
        std::vector<MotionFit> ofLevel;
    };
    MotionFit& fit(int slot, std::size_t level) { return fits_.at(slot, reference_).ofLevel[level]; }

    int width_, height_;
    Threads threads_;
    std::vector<PyramidLevel> reference_;
    std::vector<SplineImage> splines_;
    PerSlot<Fits> fits_;
    std::optional<MotionFit> finest_;  ///< of the finest level, by all threads
    SplineImage known_;                ///< 1 where the reference has values, on the finest grid
};

}  // namespace oravo::vision::detail::precise

#endif
