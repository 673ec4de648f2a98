#include "vision/superresolution/detail/transform/MixedRadixFft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "tests/plain/PlainDft.h"
#include "tests/vision/superresolution/Spectra.h"

namespace oravo::test {
namespace {

using plain::Complexes;

Spectrum packed(const Floats& halfComplex) {
    const std::size_t half = halfComplex.size() / 2;
    Spectrum bins(half + 1, halfComplex[0]);
    for (std::size_t k = 1; k < half; ++k) bins[k] = {halfComplex[2 * k - 1], halfComplex[2 * k]};
    bins[half] = halfComplex.back();
    return bins;
}

TEST(MixedRadixFft, StaysWithinItsErrorBoundAtEveryLength) {
    std::vector<int> lengths(64);
    for (int n = 1; n <= 64; ++n) lengths[asSize(n - 1)] = n;
    for (const int n : {81,  101, 121, 125, 127, 128, 180, 210, 243, 251, 256,  288,
                        320, 480, 502, 512, 625, 640, 720, 729, 768, 973, 1004, 1024}) {
        lengths.push_back(n);
    }
    for (const int n : lengths) {
        const Spectrum signal = complexNoise(asSize(n));
        const vision::detail::ComplexFft fft(n);
        ASSERT_LT(bound(roundings(n)), 3e-7);
        Spectrum values = signal;
        fft.forward(values.data());
        EXPECT_LT(relativeError(values, plain::dft({signal.begin(), signal.end()}, kForward)),
                  bound(roundings(n)))
            << "forward, length " << n;
        values = signal;
        fft.backward(values.data());
        EXPECT_LT(relativeError(values, plain::dft({signal.begin(), signal.end()}, kBackward)),
                  bound(roundings(n)))
            << "backward, length " << n;

        const int even = 2 * n;  // real transforms take even lengths
        if (even > 1024) continue;
        const vision::detail::RealFft realFft(even);
        const double limit = bound(roundings(n) + 5);
        ASSERT_LT(limit, 3e-7);
        const Floats real = noise(asSize(even));
        Complexes bins = plain::dft({real.begin(), real.end()}, kForward);
        bins.resize(asSize(n) + 1);
        Floats halfComplex = real;
        realFft.forward(halfComplex.data());
        EXPECT_LT(relativeError(packed(halfComplex), bins), limit) << "real forward, length " << even;

        const Spectrum half = packed(real);
        Complexes full(half.begin(), half.end());
        for (int k = n - 1; k > 0; --k) full.push_back(std::conj(full[asSize(k)]));
        halfComplex = real;
        realFft.backward(halfComplex.data());
        EXPECT_LT(relativeError(halfComplex, plain::dft(full, kBackward)), limit)
            << "real backward, length " << even;
    }
}

TEST(MixedRadixFft, RootsOfUnityAreExactOnAxesAndAccurateElsewhere) {
    using vision::detail::rootOfUnity;
    EXPECT_EQ(rootOfUnity(1, 4), std::complex<double>(0.0, 1.0));
    EXPECT_EQ(rootOfUnity(6, 12), std::complex<double>(-1.0, 0.0));
    EXPECT_EQ(rootOfUnity(15, 20), std::complex<double>(0.0, -1.0));
    EXPECT_EQ(rootOfUnity(21, 24), std::conj(rootOfUnity(3, 24)));
    for (int k = 0; k < 1009; ++k) {
        const long double angle = 2.0L * std::acos(-1.0L) * k / 1009.0L;
        const std::complex<double> root = rootOfUnity(k, 1009);
        EXPECT_LE(std::abs(root.real() - std::cos(angle)), 0x1p-52L);
        EXPECT_LE(std::abs(root.imag() - std::sin(angle)), 0x1p-52L);
    }
}

}  // namespace
}  // namespace oravo::test
