#ifndef ORAVO_VISION_DETAIL_SOLVER_TOTALVARIATION_H
#define ORAVO_VISION_DETAIL_SOLVER_TOTALVARIATION_H

#include "vision/superresolution/detail/memory/GuardedImage.h"

namespace oravo::vision::detail {

/// The total-variation term, linearised by lagged diffusivity: a weighted graph Laplacian on the
/// 8-neighbourhood whose weights are frozen from the current estimate (C. R. Vogel, M. E. Oman, "Iterative
/// methods for total variation denoising", SIAM J. Sci. Comput. 17, 1996).
///
/// A link between pixels that differ by t weighs -1 / (weight clamp(|t|)), clamp holding |t| in
/// [epsilon, 1 / epsilon]; diagonal links weigh half of that, with t divided by sqrt(2). Each link is stored
/// once, at its upper (or left) pixel; the diagonal is the negated sum of the weights of all links of a
/// pixel.
class TotalVariation {
  public:
    explicit TotalVariation(FrameSize size);

    /// Where the weights of the very first pixel's links are taken from.
    enum class FirstPixel {
        own,    ///< its own differences
        second  ///< those of the pixel to its right, with no south-west link
    };

    /// Freezes the weights from an estimate.
    /// @param negativeInverseWeight  -1 / TV weight
    void freeze(const float* estimate, float negativeInverseWeight, float epsilon, float inverseEpsilon,
                FirstPixel firstPixel);

    /// out = L v; v is the data of a GuardedImage of the same size.
    void apply(const float* v, float* out) const;

  private:
    void zeroLeavingLinks();
    void sumDiagonal();

    FrameSize size_;
    GuardedImage east_;
    GuardedImage south_;
    GuardedImage southWest_;
    GuardedImage southEast_;
    GuardedImage diagonal_;
};

}  // namespace oravo::vision::detail

#endif
