#ifndef ORAVO_VISION_DETAIL_PRECISE_SMOOTHNESSPRIOR_H
#define ORAVO_VISION_DETAIL_PRECISE_SMOOTHNESSPRIOR_H

#include "vision/superresolution/detail/precise/PaddedImage.h"
#include "vision/superresolution/detail/precise/PreciseKernels.h"

namespace oravo::vision::detail::precise {

/// What is expected of an image before any frame is seen: few edges, and slopes that hardly change between them,
///
///     P(x) = strength * sum over pixels of  |gradient x|  +  |Hessian x|        (Frobenius norm)
///
/// the sum of first and second order total variation (L. I. Rudin, S. Osher, E. Fatemi, Physica D 60, 1992;
/// K. Papafitsoros, C.-B. Schoenlieb, "A combined first and second order variational approach for image
/// reconstruction", J. Math. Imaging and Vision 48, 2014). Plain total variation alone makes steps of slopes. Each norm
/// is rounded off below `kFloor`, and linearised by lagged diffusivity (C. R. Vogel, M. E. Oman, SIAM J. Sci. Comput. 17,
/// 1996): frozen at an estimate, P becomes the quadratic form of a symmetric operator L.
class SmoothnessPrior {
  public:
    /// Differences below this share of the scene's contrast count as none.
    static constexpr float kFloor = 0.05f;

    SmoothnessPrior(int columns, int rows);

    /// Freezes L at an estimate, whose pads are filled.
    void freeze(const PaddedImage& estimate, double strength);
    /// out += row y of L v. Called row by row from 0 on; the pads of v are filled, down to row y + 2.
    void addRow(const PaddedImage& v, int y, float* out) const;
    /// About the diagonal of L in a row.
    void addDiagonal(int y, float* out) const;

  private:
    DifferenceRow differenceRow(int slot) const;

    PaddedImage first_;
    PaddedImage second_;
    PaddedImage scratch_;  ///< three rows of each kind of difference, and one of zeros
};

}  // namespace oravo::vision::detail::precise

#endif
