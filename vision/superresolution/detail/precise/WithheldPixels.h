#ifndef ORAVO_VISION_DETAIL_PRECISE_WITHHELDPIXELS_H
#define ORAVO_VISION_DETAIL_PRECISE_WITHHELDPIXELS_H

#include <functional>
#include <utility>
#include <vector>

#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/ImageSolver.h"

namespace oravo::vision::detail::precise {

/// What cross-validation found (G. Wahba, "Spline Models for Observational Data", SIAM 1990, chapter 4).
struct WithheldChoice {
    double strength = 0.0;  ///< of the prior
    double error = 0.0;  ///< root mean square error of predicting withheld pixels of frames but the reference
    double bicubicError =
        0.0;  ///< that of bicubic interpolation of the reference for the same pixels; 0 for none
    std::size_t pixels = 0;   ///< that both errors are over
    double frameNoise = 0.0;  ///< of the reference by itself, in the part that pixels were withheld from
};

/// Chooses the prior's strength by predicting pixels that were left out: every 13th of each frame, picked by a hash of its
/// place. Images are solved for strengths from 1/4 to 4 times a first guess, farther where the best lies at an end, and
/// the minimum of a parabola through the logarithms of the best three errors is taken. Of large frames a part is used that
/// has as much structure as any.
class WithheldPixels {
  public:
    /// @param pattern  of the sensor; empty for none
    WithheldPixels(const Grid& grid, const BlurShape& blur, const std::vector<FrameState>& frames,
                   int reference, const Buffer<float>& pattern, const PaddedImage& start,
                   const Threads& threads = Threads());

    WithheldChoice choose(double guess);

    /// See ImageSolver.
    void setCheckpoint(std::function<void()> checkpoint) { solver_.setCheckpoint(std::move(checkpoint)); }

    long steps() const { return solver_.steps(); }

  private:
    struct Held {
        std::size_t frame, pixel;
        float weight;
    };

    void withhold();
    double predict(double strength);
    double squaredError(bool referenceToo, std::size_t& pixels) const;
    double bicubicSquaredError() const;

    Grid grid_;
    int reference_;
    std::vector<FrameState> frames_;
    Buffer<float> pattern_;
    PaddedImage image_;
    ImageSolver solver_;
    std::vector<Held> held_;
    std::vector<float> prediction_;  ///< of each held pixel
};

}  // namespace oravo::vision::detail::precise

#endif
