#ifndef ORAVO_VISION_DETAIL_PRECISE_FIRSTGUESS_H
#define ORAVO_VISION_DETAIL_PRECISE_FIRSTGUESS_H

#include <vector>

#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/MotionFit.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"

namespace oravo::vision::detail::precise {

/// Finds where frames lie against the reference before there is an image: on blurred frames, in which aliasing and noise
/// are damped, from coarse to fine. No single guess is trusted. At the coarsest level the highest peaks of the
/// correlation over all shifts, no shift at all and hints are refined side by side, and the finer level's misfit decides.
class FirstGuess {
  public:
    FirstGuess(int width, int height);

    void setReference(const FrameState& reference);
    /// Settles motion, gain, offset and agreement of a frame, or that it is not used.
    void place(const std::vector<Motion>& hints, FrameState& frame);

  private:
    struct Level {
        Grid grid;
        PaddedImage image;
        PaddedImage shown;    ///< the image as a spline with these coefficients shows it
        Buffer<float> known;  ///< 1 where the image comes from values, 0 within larger defects
        /// What a pixel counts for its motion: less where the image is steep, lest the steepest thing decides for all.
        Buffer<float> balance;
    };
    struct Candidate {
        FramePose pose;
        FitOutcome outcome;
    };

    std::vector<Level> pyramid(const FrameState& frame) const;
    std::vector<Motion> correlationPeaks(const Level& level) const;
    double correlation(const Level& level, int dx, int dy) const;
    void refine(std::vector<Candidate>& candidates, const std::vector<Level>& levels);
    void chooseModel(const Level& finest, FrameState& frame, Candidate& best);
    void judge(const Level& finest, const Candidate& best, FrameState& frame);

    int width_, height_;
    std::vector<Level> reference_;
    std::vector<SplineImage> splines_;
    std::vector<MotionFit> fits_;
    SplineImage known_;  ///< 1 where the reference has values, on the finest grid
};

/// out = the mean of values over the pixels of (2 radius + 1)^2 whose weight is 1; 0 where there is none.
void boxMean(const Buffer<float>& values, const Buffer<float>& weight, int width, int height, int radius,
             Buffer<float>& out);

}  // namespace oravo::vision::detail::precise

#endif
