#ifndef ORAVO_VISION_DETAIL_NUMERICS_GAUSSIANPSF_H
#define ORAVO_VISION_DETAIL_NUMERICS_GAUSSIANPSF_H

namespace oravo::vision::detail {

/// The error function in closed form,
///   erf(z) = sign(z) sqrt(1 - exp(-z^2 (4/pi + a z^2) / (1 + a z^2))),   a = 0.1400123,
/// off by less than 3.4e-4 everywhere (S. Winitzki, "A handy approximation for the error function and its
/// inverse", 2008). Single precision, with the exponential and the root in double; 0 gives exactly 0.
float erfApproximation(float z);

/// The centred, normalised one-dimensional point-spread function: the mass of a Gaussian of standard
/// deviation sigma over each high-resolution pixel within `factor` pixels of the centre, which lies on the
/// border between taps length / 2 - 1 and length / 2.
/// @param sigma   in high-resolution pixels
/// @param length  number of taps written
void gaussianPsf(float sigma, float factor, int length, float* taps);

/// The point-spread function of a frame displaced by `shift` high-resolution pixels, |shift| <= 1: the base
/// taps moved by linear interpolation, towards lower indices for positive shifts.
void shiftedPsf(const float* base, int length, float shift, float* taps);

}  // namespace oravo::vision::detail

#endif
