#ifndef ORAVO_VISION_REFERENCE_SUPERRESOLUTIONMINIMIZATION_H
#define ORAVO_VISION_REFERENCE_SUPERRESOLUTIONMINIMIZATION_H

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"
#include "vision/superresolution/reference/Point.h"

namespace oravo::vision {

namespace detail {
template <class Family>
class TotalVariationSolver;
}

/// Solves for the enlarged image of a registered burst: the method, sizes and parameters of
/// SrFloatMinimization, with three differences.
///
/// - Every sum and dot product is taken in single precision, in the order of the index, so that results
///   differ from the float solver's in their last bits.
/// - The total-variation links of the very first pixel of the extended image carry the weights of the second
///   pixel's links, and its link to the south-west (which leaves the image) none.
/// - The rows of the sample grid follow the factor as its columns do (SuperResolutionConvolution).
///
/// An object is used by one thread at a time. Copies take over the parameters and share the work buffers, so
/// they may not work at the same time either.
class ORAVO_EXPORT SuperResolutionMinimization {
  public:
    /// @param lw,lh      size of a frame
    /// @param maxFrames  the most frames that one call of minimize may bring
    /// @param f          super-resolution factor, at least 1
    /// Throws oravo::Exception, naming the value, for invalid sizes.
    SuperResolutionMinimization(int lw, int lh, int maxFrames, float f);

    /// Reconstructs the enlarged image.
    /// @param count   number of frames, at most maxFrames; with none the result is not a number
    /// @param ref     index in frames (not checked, and read with 0 frames as well) of the one whose mean and
    ///                standard deviation set the intensity scale; when it is constant, the result is not finite
    /// @param frames  count images, already moved onto the reference grid by whole pixels. CHANGED: every
    ///                frame comes back normalised, (v - mean) / deviation.
    /// @param shifts  remaining displacement of each frame in low-resolution pixels, within half a pixel:
    ///                frame(p + d) = reference(p)
    /// @param masks   count masks of lh x lw bytes, 0 to leave a pixel out, 1 to use it. With every pixel
    ///                left out the result is not a number.
    /// @param out     trunc(lh f) rows of trunc(lw f) columns, in the frames' units
    /// @return the number of conjugate-gradient steps made, 0 when the first estimate already was good enough
    /// Throws oravo::Exception when count is negative or more than maxFrames.
    int minimize(int count, int ref, float* const* frames, const PointF* shifts, char** masks, float* out);

    // Parameters; none of the setters validates its argument.

    /// Standard deviation of the sensor's PSF in high-resolution pixels; 0.683 at first.
    void setPsfSigma(float sigma);
    float getPsfSigma() const;  ///< in pixels of the enlarged image

    /// Weight of the data against total variation: the larger, the less smooth; 400 at first.
    void setWeightTV(float weight);
    float getWeightTV() const;  ///< of the data against total variation

    /// Differences below epsilon, in standard deviations of the reference frame, count as epsilon in the
    /// weights, those above 1 / epsilon as 1 / epsilon; 0.1 at first.
    void setEpsilon(float epsilon);
    float getEpsilon() const;  ///< in standard deviations of the reference frame

    /// The most conjugate-gradient steps of one reconstruction, over all passes; 8 at first. 0 gives the
    /// first estimate back.
    void setMaxIter(int maxIter);
    int getMaxIter() const;  ///< the most steps of one reconstruction

    /// Relative residue ||r|| / ||b|| at which the solver stops; 0.007 at first.
    void setRelRes(float relRes);
    float getRelRes() const;  ///< at which the solver stops

  private:
    struct ORAVO_HIDDEN Family;

    detail::Body<detail::TotalVariationSolver<Family>> solver_;
};

}  // namespace oravo::vision

#endif
