#ifndef ORAVO_VISION_DETAIL_PRECISE_WEIGHTS_H
#define ORAVO_VISION_DETAIL_PRECISE_WEIGHTS_H

#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// The mean of squared misfits over the neighbourhood of each pixel. What is not explained by noise may still be explained by
/// a displacement of a few hundredths of a pixel, which the slope allows for: edges are no outliers.
class LocalMisfit {
  public:
    explicit LocalMisfit(const Grid& grid);

    /// @param misfit       of each pixel that is inside; FrameState::misfit, or that against another image
    /// @param forgiveness  times larger misfits count the same
    void measure(const FrameState& frame, const Buffer<float>& misfit, float forgiveness = 1.0f);

    float mean(std::size_t q) const { return mean_[q]; }  ///< a single misfit adds 25 at most
    float own(std::size_t q) const { return own_[q]; }    ///< of the pixel itself

  private:
    Grid grid_;
    Buffer<float> own_, capped_, mean_;
};

/// Sets the weights of each frame's values from their misfit: Cauchy's weight of the pixel, times a share for
/// neighbourhoods that do not fit, which is nothing where most misfits are far beyond the noise, times the square of the
/// median scale of all frames over the frame's own where that is larger, times its agreement.
/// @param forgiveness  times larger misfits weigh the same; 1 is the weight that an image is to be judged by
void weighByMisfit(const Grid& grid, std::vector<FrameState>& frames, float forgiveness = 1.0f,
                   const Threads& threads = Threads());

/// Takes weight from neighbourhoods of frames, except the reference, that misfit by more than noise and hardly less than
/// bicubic interpolation of the reference does: all of it where the latter is less than 2.5 dB worse. What moves on its own
/// or lies at another depth would, with however little weight, decide what the reference leaves open.
/// @param pattern  of the sensor; empty for none
void weighByGain(const Grid& grid, std::vector<FrameState>& frames, int reference,
                 const Buffer<float>& pattern, const Threads& threads = Threads());

/// Weights before there is an image: agreement where there is a value.
void weighByAgreement(std::vector<FrameState>& frames);

}  // namespace oravo::vision::detail::precise

#endif
