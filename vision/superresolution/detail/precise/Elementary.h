#ifndef ORAVO_VISION_DETAIL_PRECISE_ELEMENTARY_H
#define ORAVO_VISION_DETAIL_PRECISE_ELEMENTARY_H

namespace oravo::vision::detail::precise {

// Elementary functions from additions, products and quotients alone, which round alike everywhere: those of C libraries
// differ in their last bits from machine to machine. Relative errors stay below 1e-14.

constexpr double kPi = 3.14159265358979323846;

double exponential(double x);  ///< e^x for |x| up to 700
double logarithm(double x);    ///< natural, of positive normal numbers
double sine(double x);         ///< for |x| up to pi / 2

/// 2^x for |x| up to 1000.
double powerOfTwo(double x);
/// In decibels, of positive amplitudes.
double decibels(double ratio);

}  // namespace oravo::vision::detail::precise

#endif
