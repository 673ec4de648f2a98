#ifndef ORAVO_VISION_SRFLOATREGISTRATION2_H
#define ORAVO_VISION_SRFLOATREGISTRATION2_H

#include <functional>
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
/// Every frame is prepared as it arrives: blurred, and turned into an 8-bit image pyramid. A run detects
/// corners in the blurred reference (Shi and Tomasi, CVPR 1994), follows them into every other frame with the
/// pyramidal Lucas-Kanade tracker, averages the displacements within 2 pixels of their median to a
/// whole-pixel shift, and refines that by one global optical-flow step (Lucas and Kanade, IJCAI 1981), whose
/// residual also gives the validity mask. Frames are then moved onto the reference grid by whole pixels.
///
/// Shifts are in low-resolution pixels, x to the right, y down: shift d means frame(p + d) = reference(p).
/// Frames are dense, row-major, 32-bit float, height rows of width columns. Frame indices are slots, oldest
/// first; once all slots are filled, each further frame evicts the oldest.
///
/// The intensity range of the 8-bit conversion lasts until a blurred frame leaves it; it then becomes that
/// frame's own range, widened by a tenth at both ends.
///
/// An object is used by one thread at a time. Copies share work images.
class ORAVO_EXPORT SrFloatRegistration2 {
  public:
    /// @param width,height  columns and rows of a frame
    /// @param frameCount    number of slots, at least 1
    /// Throws oravo::Exception, naming the value, for an invalid size or number.
    SrFloatRegistration2(int width, int height, int frameCount);

    /// Takes in one frame; width x height values, read only during the call.
    void prepareFrame(const float* frame);

    /// Registers the first numFrames slots against slot refIndex.
    /// @param numFrames      how many slots take part, from the oldest on
    /// @param refIndex       slot of the reference, from 0
    /// @param frames         the unblurred frames; frames[i] is the one prepared in slot i
    /// @param shifts         out: each frame's remaining shift, in [-0.5, 0.5); (0, 0) for the reference
    /// @param masks          frameCount masks of width x height bytes, out: 1 where the moved frame agrees
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
                       char** masks, float** shiftedFrames);

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

    /// Threads that share the frames of a run, 1 to 64; 0 stands for one on each processor that the process may use; 1 at
    /// first, which starts none. Results have the same bits for every number. Throws oravo::Exception for others.
    void setThreads(int threads);

  private:
    template <class Registration>
    friend class SrFloat;

    /// Calls a function that prepares a frame, and makes use of threads that it leaves idle.
    void findCornersBeside(const std::function<void()>& intake);

    detail::Body<detail::CornerRegistration<char>> registration_;
};

}  // namespace oravo::vision

#endif
