#ifndef ORAVO_VISION_REFERENCE_SUPERRESOLUTIONREGISTRATION_H
#define ORAVO_VISION_REFERENCE_SUPERRESOLUTIONREGISTRATION_H

#include <complex>
#include <vector>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"
#include "vision/superresolution/reference/Point.h"
#include "vision/superresolution/reference/SuperResolutionFft2d.h"

namespace oravo::vision {

/// Registers the frames of a burst against one of them by phase correlation. It computes what
/// SrFloatRegistration1 does, bit for bit, but keeps no frames: whoever owns them transforms each once, with
/// getFft(), and hands the spectra in.
///
/// Shifts are in low-resolution pixels, x to the right, y down: shift d means frame(p + d) = reference(p).
/// Frames are dense, row-major, 32-bit float, height rows of width columns.
///
/// An object is used by one thread at a time. Copies share work images.
class ORAVO_EXPORT SuperResolutionRegistration {
  public:
    /// @param width        even, at least 2
    /// @param height       at least 1
    /// @param factor       super-resolution factor of the pipeline, at least 1; registration does not depend
    ///                     on it
    /// @param gaussRadius  radius of the blur before the refinement, at least 0
    /// Throws oravo::Exception, naming the value, for any other.
    SuperResolutionRegistration(int width, int height, float factor, int gaussRadius);

    /// Registers count frames against frame ref.
    /// @param count          number of frames
    /// @param ref            index of the reference in frames, from 0
    /// @param frames         count images
    /// @param spectra        their transforms by getFft(), height x (width/2 + 1) bins each
    /// @param shifts         out: each frame's remaining shift, in [-0.5, 0.5); (0, 0) for the reference
    /// @param masks          count masks of width x height bytes, out: 1 where the moved frame agrees with
    ///                       the reference, else 0; all 1 for the reference
    /// @param shiftedFrames  count images, out: frame i moved by its whole-pixel shift along the flat
    ///                       array, so that columns beyond the frame hold pixels of the neighbouring row;
    ///                       masks exclude them
    /// @return 0
    /// Throws oravo::Exception "Too large displacement" when a shift is not strictly within half the frame
    /// height on both axes, and another one when ref is not one of the frames. Frames are taken in order: those
    /// before the one refused have then been moved, that one is copied, later ones and their shiftedFrames are
    /// left alone.
    int doRegistration(int count, int ref, float* const* frames, const std::complex<float>* const* spectra,
                       PointF* shifts, char** masks, float** shiftedFrames);

    /// Copies the whole shifts of the last run, one per frame; empty before the first. After a run of fewer
    /// frames than an earlier one, the shifts of the earlier one follow.
    void getCompleteShifts(std::vector<PointF>& out) const;

    /// The transform that belongs to the frames' size; its scratch memory is the object's own.
    SuperResolutionFft2d& getFft();

    /// Radius of the Gaussian blur; its standard deviation is sqrt(3 radius^2 / 25).
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
