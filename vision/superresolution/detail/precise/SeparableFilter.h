#ifndef ORAVO_VISION_DETAIL_PRECISE_SEPARABLEFILTER_H
#define ORAVO_VISION_DETAIL_PRECISE_SEPARABLEFILTER_H

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"
#include "vision/superresolution/detail/precise/PreciseKernels.h"

namespace oravo::vision::detail::precise {

/// Taps of a sampled Gaussian, of sum 1; sigma up to kBlurRadius / 3.
BlurTaps gaussianTaps(double sigma);

/// Taps (1, 4, 1) / 6: what a cubic B-spline image shows where its coefficients lie.
BlurTaps splineTaps();

/// out = a row of n values, filtered down and along.
/// @param rows  the 2 kBlurRadius + 1 rows around it, their pads filled
/// @param line  a row of n values with pads, for work
void filterRow(const BlurTaps& taps, const float* const* rows, int n, const PaddedImage& line, float* out);

/// The whole image, mirrored at its border; fills its pads.
PaddedImage filtered(const BlurTaps& taps, const PaddedImage& image, const Threads& threads = Threads());

}  // namespace oravo::vision::detail::precise

#endif
