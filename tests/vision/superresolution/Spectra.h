#ifndef ORAVO_TESTS_VISION_SUPERRESOLUTION_SPECTRA_H
#define ORAVO_TESTS_VISION_SUPERRESOLUTION_SPECTRA_H

#include <cmath>
#include <complex>
#include <cstddef>
#include <random>
#include <vector>

/// Signals for the tests of the Fourier transforms, and the error that a transform may have.
namespace oravo::test {

using Floats = std::vector<float>;
using Spectrum = std::vector<std::complex<float>>;

constexpr int kForward = -1;
constexpr int kBackward = 1;
constexpr double kUnit = 1.0 / (1 << 24);  // relative rounding error of single precision, at most

inline std::size_t asSize(int n) {
    return static_cast<std::size_t>(n);
}

inline Floats noise(std::size_t count) {
    static std::mt19937 generator(7);
    std::normal_distribution<float> normal;
    Floats values(count);
    for (float& value : values) value = normal(generator);
    return values;
}

inline Spectrum complexNoise(std::size_t count) {
    const Floats values = noise(2 * count);
    Spectrum result(count);
    for (std::size_t i = 0; i < count; ++i) result[i] = {values[2 * i], values[2 * i + 1]};
    return result;
}

template <class Values, class Truth>
double relativeError(const Values& values, const Truth& truth) {
    double error = 0.0;
    double power = 0.0;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        error += std::norm(std::complex<double>(values[i]) - truth[i]);
        power += std::norm(truth[i]);
    }
    return std::sqrt(error / power);
}

/// The error model stated in MixedRadixFft.h: roundings of one complex transform of length n.
inline int roundings(int n) {
    int count = 0;
    for (int radix = 2; n > 1; ++radix) {
        for (; n % radix == 0; n /= radix) count += 3 + (radix == 3 ? 4 : radix == 5 ? 5 : 1);
    }
    return count;
}

inline double bound(int roundingCount) {
    return kUnit * std::sqrt(roundingCount / 3.0 + 1.0);  // one more for the result itself
}

}  // namespace oravo::test

#endif
