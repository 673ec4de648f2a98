#ifndef ORAVO_VISION_SRFLOATMINIMIZATION_H
#define ORAVO_VISION_SRFLOATMINIMIZATION_H

#include <opencv2/core.hpp>

#include "support/Export.h"
#include "vision/superresolution/detail/memory/Body.h"

namespace oravo::vision {

namespace detail {
template <class Family>
class TotalVariationSolver;
}

/// Solves for the enlarged image of a registered burst.
///
/// Frame k is modelled as y_k = H_k x: the extended high-resolution image x, correlated with a separable
/// Gaussian point-spread function (PSF) moved by the frame's sub-pixel shift, sampled on every f-th column
/// and every 2nd row (SrFloatConvolution). With masks M_k of usable pixels, the estimate solves
///
///     (L(x) + sum_k H_k^T M_k H_k) x = sum_k H_k^T M_k y_k
///
/// where L(x) is the total-variation operator with its weights frozen from x (lagged diffusivity; Vogel and
/// Oman, SIAM J. Sci. Comput. 17, 1996). Each frozen system is solved by conjugate gradients (Hestenes and
/// Stiefel, 1952) started from the estimate so far; the first estimate is the right-hand side b. Iterations
/// stop when ||r||^2 / ||b||^2 < relRes^2, or when all passes together have used maxIter steps.
///
/// Sizes: frames are lh rows of lw columns; the PSF has ks = trunc(3 f) taps; x has trunc(lh f) + ks - 1 rows
/// and trunc(lw f) + ks - 1 columns; the result is x without (ks - 1) / 2 rows and columns at the top and
/// left and the rest at the bottom and right, so that with f = 2 the centre of low-resolution pixel i lies at
/// position 2 i + 0.5 of the result. Images are dense, row-major, 32-bit float. Sums and dot products are
/// taken in double.
///
/// An object is used by one thread at a time. Copies take over the parameters and share the work buffers, so
/// they may not work at the same time either.
class ORAVO_EXPORT SrFloatMinimization {
  public:
    /// @param lw,lh      size of a frame
    /// @param maxFrames  the most frames that one call of minimize may bring
    /// @param f          super-resolution factor, at least 1, which the row step of 2 does not follow
    /// Throws oravo::Exception, naming the value, for invalid sizes.
    SrFloatMinimization(int lw, int lh, int maxFrames, float f);

    /// Reconstructs the enlarged image.
    /// @param nFrames   number of frames, at most maxFrames; with none the result is not a number
    /// @param refIndex  index in frames (not checked, and read with 0 frames as well) of the one whose mean and
    ///                  standard deviation set the intensity scale; when it is constant, the result is not
    ///                  finite
    /// @param frames    nFrames images, already moved onto the reference grid by whole pixels. CHANGED: every
    ///                  frame comes back normalised, (v - mean) / deviation.
    /// @param shifts    remaining displacement of each frame in low-resolution pixels, within half a pixel:
    ///                  frame(p + d) = reference(p)
    /// @param masks     nFrames masks of lh x lw bytes, 0 to leave a pixel out, 1 to use it; with all left
    ///                  out the result is not a number
    /// @param out       trunc(lh f) rows of trunc(lw f) columns, in the frames' units
    /// @return the number of conjugate-gradient steps made, 0 when the first estimate already was good enough
    /// Throws oravo::Exception when nFrames is negative or more than maxFrames.
    int minimize(int nFrames, int refIndex, float* const* frames, const cv::Point_<float>* shifts,
                 char** masks, float* out);

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

    /// Threads that share the work at factor 2, 1 to 64; 0 stands for one on each processor that the process may use; 1 at
    /// first, which starts none. Results have the same bits for every number. Throws oravo::Exception for others.
    void setThreads(int threads);

  private:
    struct ORAVO_HIDDEN Family;

    detail::Body<detail::TotalVariationSolver<Family>> solver_;
};

}  // namespace oravo::vision

#endif
