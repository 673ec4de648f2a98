#ifndef ORAVO_VISION_SRFLOATREGISTRATION1_H
#define ORAVO_VISION_SRFLOATREGISTRATION1_H

#include <opencv2/core.hpp>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"

namespace oravo::vision {

/// Registers the frames of a burst against one of them by phase correlation.
///
/// Every frame is transformed as it arrives. A run finds each frame's whole-pixel shift at the peak of its
/// phase correlation with the reference (Kuglin and Hines, 1975), refines it by one global optical-flow step on
/// Gaussian blurred frames (Lucas and Kanade, IJCAI 1981), whose residual also gives the validity mask, and
/// moves the frames onto the reference grid by whole pixels. It needs no corners, and always finds some peak: a
/// frame that shows something else gets a wrong shift and a mask of the pixels that happen to agree, unless the
/// shift is so large that the run is refused.
///
/// Shifts are in low-resolution pixels, x to the right, y down: shift d means frame(p + d) = reference(p).
/// Frames are dense, row-major, 32-bit float, height rows of width columns. Frame indices are slots, oldest
/// first; once all slots are filled, each further frame evicts the oldest.
///
/// An object is used by one thread at a time. Copies share work images.
class ORAVO_EXPORT SrFloatRegistration1 {
  public:
    /// @param width       even, at least 2
    /// @param height      at least 1
    /// @param frameCount  number of slots, at least 1
    /// Throws oravo::Exception, naming the value, for any other.
    SrFloatRegistration1(int width, int height, int frameCount);

    /// Takes in one frame; width x height values, read only during the call.
    void prepareFrame(const float* frame);

    /// Registers the first numFrames slots against slot refIndex.
    /// @param numFrames      how many slots take part, from the oldest on
    /// @param refIndex       slot of the reference, from 0
    /// @param frames         the frames themselves; frames[i] is the one prepared in slot i
    /// @param shifts         out: each frame's remaining shift, in [-0.5, 0.5); (0, 0) for the reference
    /// @param masks          numFrames masks of width x height bytes, out: 1 where the moved frame agrees
    ///                       with the reference, else 0; all 1 for the reference
    /// @param shiftedFrames  numFrames images, out: frame i moved by its whole-pixel shift along the flat
    ///                       array, so that columns beyond the frame hold pixels of the neighbouring row;
    ///                       masks exclude them
    /// @return 0
    /// Throws oravo::Exception "Too large displacement" when a shift is not strictly within half the frame
    /// height on both axes, and another one when fewer than numFrames frames are prepared or refIndex is not
    /// one of them.
    int doRegistration(int numFrames, int refIndex, float* const* frames, cv::Point_<float>* shifts,
                       char** masks, float** shiftedFrames);

    /// Copies the whole shifts of the last run, one per frame; empty before the first. After a run of fewer
    /// frames than an earlier one, the shifts of the earlier one follow.
    void getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const;

    /// Radius of the Gaussian blur, 5 at first; its standard deviation is sqrt(3 radius^2 / 25).
    /// Throws oravo::Exception when the radius is negative or above 2^24, and then keeps the old one.
    void setGaussRadius(int radius);
    int getGaussRadius() const;  ///< of the Gaussian blur, in pixels

    // The setters below do not validate their argument.

    /// Radius of the mean filter over the squared residuals, 3 at first; with a negative one doRegistration
    /// throws oravo::Exception.
    void setRegErrBlurRadius(int radius);
    int getRegErrBlurRadius() const;  ///< of the mean filter, in pixels

    /// A pixel is valid where the filtered squared residual, in units of the reference's summed squared
    /// gradients, stays below this; 0.0001 at first.
    void setRegError(float error);
    float getRegError() const;  ///< the largest at which a pixel is used

  private:
    struct ORAVO_HIDDEN State;

    detail::Body<State> state_;
};

}  // namespace oravo::vision

#endif
