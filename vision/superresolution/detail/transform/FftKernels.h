#ifndef ORAVO_VISION_DETAIL_TRANSFORM_FFTKERNELS_H
#define ORAVO_VISION_DETAIL_TRANSFORM_FFTKERNELS_H

#include <complex>
#include <cstddef>

#include "vision/superresolution/detail/transform/MixedRadixFft.h"

/// The loops of the transforms. They work on `Lanes` signals at once, lane innermost: element i of a block is
/// Lanes real parts followed by Lanes imaginary parts. So every operation of a butterfly is a loop over
/// contiguous memory, whatever the radix, and one signal (Lanes = 1) is an ordinary complex array. What a
/// lane computes does not depend on their number.
namespace oravo::vision::detail::fft_kernels {

/// Signals that the two-dimensional transform works on together: a cache line. With 8 it takes 1.2 times as
/// long up to 384 x 288, and 0.95 times at 640 x 480, where a block of 16 columns outgrows the first-level
/// cache.
constexpr int kLanes = 16;

/// Memory that the image transforms work in.
struct BlockMemory {
    float* block;     ///< elements of the longest transform times 2 kLanes
    float* bins;      ///< (n / 2 + 1) times 2 kLanes for rows of length n
    double* scratch;  ///< FftPlan::scratchSize(kLanes)
};

/// All passes over a block whose elements are in the plan's order.
template <int Lanes, bool Forward>
void transform(const FftPlan& plan, float* block, double* scratch);

/// Turns the transform of n / 2 pairs into bins 0 .. n / 2 - 1 of the real signal. Bin 0 holds X0 and X(n/2),
/// both real, as its real and imaginary part. In place.
template <int Lanes>
void untangle(const RealFftPlan& plan, float* block);

/// The reverse for a backward transform, times 2: takes bins in natural order, writes pairs in the plan's
/// order.
template <int Lanes>
void tangle(const RealFftPlan& plan, const float* bins, float* block);

/// Transforms the rows of an image; `pitch` complex values from row to row of the spectrum.
void forwardRows(const RealFftPlan& plan, int rows, const float* image, std::complex<float>* spectrum,
                 const BlockMemory& memory);
/// The reverse; imaginary parts of bins 0 and n / 2 are ignored.
void backwardRows(const RealFftPlan& plan, int rows, const std::complex<float>* spectrum, float* image,
                  const BlockMemory& memory);

/// Transforms each of `columns` columns of a dense array of plan.length() rows; `to` may be `from`.
template <bool Forward>
void transformColumns(const FftPlan& plan, int columns, const std::complex<float>* from,
                      std::complex<float>* to, const BlockMemory& memory);

}  // namespace oravo::vision::detail::fft_kernels

#endif
