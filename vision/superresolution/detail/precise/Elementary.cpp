#include "vision/superresolution/detail/precise/Elementary.h"

#include <cmath>

namespace oravo::vision::detail::precise {
namespace {

constexpr double kLog2 = 0.69314718055994530942;
constexpr double kLog10 = 2.30258509299404568402;

}  // namespace

double exponential(double x) {
    // x = n log 2 + r with |r| up to 0.35; terms of the series from r^16 / 16! on are below 1e-20.
    const double n = std::floor(x / kLog2 + 0.5);
    const double r = x - n * kLog2;
    double sum = 1.0;
    for (int k = 16; k > 0; --k) sum = 1.0 + sum * r / k;
    return std::ldexp(sum, static_cast<int>(n));
}

double logarithm(double x) {
    // x = m 2^n with m from sqrt(1/2) to sqrt(2), and log m = 2 artanh z, z = (m - 1) / (m + 1), |z| up to 0.172.
    int n = 0;
    double m = std::frexp(x, &n);
    if (m < 0.70710678118654752440) {
        m *= 2.0;
        --n;
    }
    const double z = (m - 1.0) / (m + 1.0);
    double sum = 0.0;
    for (int k = 23; k > 0; k -= 2) sum = 1.0 / k + sum * z * z;
    return 2.0 * z * sum + n * kLog2;
}

double sine(double x) {
    double sum = 1.0;
    for (int k = 24; k > 0; k -= 2) sum = 1.0 - sum * x * x / (k * (k + 1));
    return x * sum;
}

double powerOfTwo(double x) {
    return exponential(x * kLog2);
}

double decibels(double ratio) {
    return 20.0 * logarithm(ratio) / kLog10;
}

}  // namespace oravo::vision::detail::precise
