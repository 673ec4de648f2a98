#ifndef ORAVO_VISION_SRFLOATNEONREGISTRATION_H
#define ORAVO_VISION_SRFLOATNEONREGISTRATION_H

#include <opencv2/core.hpp>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"

namespace oravo::vision {

namespace detail {
template <class Mask>
class CornerRegistration;
}

/// Registers the frames of a burst against one of them by tracked corners.
///
/// SrFloatRegistration2 with float masks, 1.0 at pixels that may be used and 0.0 elsewhere, which the vector
/// solver multiplies by; shifts, moved frames and the pixels marked are the same, bit for bit.
///
/// Shifts are in low-resolution pixels, x to the right, y down: shift d means frame(p + d) = reference(p).
/// Frames are dense, row-major, 32-bit float, height rows of width columns. Frame indices are slots, oldest
/// first; once all slots are filled, each further frame evicts the oldest.
///
/// The intensity range of the 8-bit conversion lasts until a blurred frame leaves it; it then becomes that
/// frame's own range, widened by a tenth at both ends.
///
/// An object is used by one thread at a time. Copies share work images.
class ORAVO_EXPORT SrFloatNeonRegistration {
  public:
    /// @param width,height  columns and rows of a frame
    /// @param frameCount    number of slots, at least 1
    /// Throws oravo::Exception, naming the value, for an invalid size or number.
    SrFloatNeonRegistration(int width, int height, int frameCount);

    /// Takes in one frame; width x height values, read only during the call.
    void prepareFrame(const float* frame);

    /// Registers the first numFrames slots against slot refIndex.
    /// @param numFrames      how many slots take part, from the oldest on
    /// @param refIndex       slot of the reference, from 0
    /// @param frames         the unblurred frames; frames[i] is the one prepared in slot i
    /// @param shifts         out: each frame's remaining shift, in [-0.5, 0.5); (0, 0) for the reference
    /// @param masks          frameCount masks of width x height floats, out: 1 where the moved frame agrees
    ///                       with the reference, else 0; all 1 for the reference
    /// @param shiftedFrames  numFrames images, out: frame i moved by its whole-pixel shift along the flat
    ///                       array, so that columns beyond the frame hold pixels of the neighbouring row;
    ///                       masks exclude them
    /// @return 0, or -9 when no corner could be tracked into some frame: masks are then set as far as
    ///         registered, no frame is moved, and no shift but the reference's is written
    /// Throws oravo::Exception "Too large displacement" when a shift is not strictly within half the frame
    /// height on both axes, and another one when fewer than numFrames frames are prepared or refIndex is not
    /// one of them.
    int doRegistration(int numFrames, int refIndex, float* const* frames, cv::Point_<float>* shifts,
                       float** masks, float** shiftedFrames);

    /// Copies the whole shifts of the last run, one per frame; empty before the first. After a run of fewer
    /// frames than an earlier one, the shifts of the earlier one follow.
    void getCompleteShifts(std::vector<cv::Point_<float>>& shifts) const;

    // Parameters; none of the setters validates its argument.

    /// Radius of the Gaussian blur of frames to come, 5 at first; its standard deviation is sqrt(3 radius^2 / 25).
    /// With one outside 0 to 32767 prepareFrame throws oravo::Exception, and the frame cannot be registered.
    void setBlurRadius(int radius);
    int getBlurRadius() const;  ///< of the Gaussian blur, in pixels

    /// Radius of the mean filter over the squared residuals, 3 at first; with a negative one doRegistration
    /// throws oravo::Exception.
    void setRegErrBlurRadius(int radius);
    int getRegErrBlurRadius() const;  ///< of the mean filter, in pixels

    /// A pixel is valid where the filtered squared residual, in units of the reference's summed squared
    /// gradients, stays below this; 0.0001 at first.
    void setRegError(float error);
    float getRegError() const;  ///< the largest at which a pixel is used

  private:
    detail::Body<detail::CornerRegistration<float>> registration_;
};

}  // namespace oravo::vision

#endif
