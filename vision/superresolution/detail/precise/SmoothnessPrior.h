#ifndef ORAVO_VISION_DETAIL_PRECISE_SMOOTHNESSPRIOR_H
#define ORAVO_VISION_DETAIL_PRECISE_SMOOTHNESSPRIOR_H

#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
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

    SmoothnessPrior(int columns, int rows, const Threads& threads = Threads());

    /// Freezes L at an estimate, whose pads are filled.
    void freeze(const PaddedImage& estimate, double strength);
    /// out += row y of L v. The pads of v are filled, from row y - 2 to y + 2.
    /// @param slot   of the thread
    /// @param fresh  row y - 1 was not the slot's last, so nothing is left of it to use again
    void addRow(const PaddedImage& v, int y, int slot, bool fresh, float* out) const;
    /// About the diagonal of L in a row.
    void addDiagonal(int y, float* out) const;

  private:
    static DifferenceRow differenceRow(const PaddedImage& scratch, int y);

    Threads threads_;
    PaddedImage first_;
    PaddedImage second_;
    std::vector<PaddedImage>
        scratch_;  ///< of each slot: three rows of each kind of difference, and one of zeros
};

}  // namespace oravo::vision::detail::precise

#endif
