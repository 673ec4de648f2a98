#ifndef ORAVO_VISION_DETAIL_TRANSFORM_MIXEDRADIXFFT_H
#define ORAVO_VISION_DETAIL_TRANSFORM_MIXEDRADIXFFT_H

#include <complex>
#include <cstddef>
#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"

namespace oravo::vision::detail {

/// Discrete Fourier transforms of one dimension and any length n >= 1:
///
///   forward   X[k] = sum_j x[j] exp(-2 pi i j k / n)
///   backward  X[k] = sum_j x[j] exp(+2 pi i j k / n)
///
/// Neither scales, so backward after forward is n times the input.
///
/// The length is split into the radices 3, 4, 2, 5 (tried in this order) and further odd primes, and the
/// transform is decimated in time (J. W. Cooley, J. W. Tukey, "An algorithm for the machine calculation of
/// complex Fourier series", Math. Comp. 19, 1965): the input is laid down in digit-reversed order, and each
/// pass combines `radix` transforms of length `span` to one of length radix * span, in place.
///
/// Accuracy. Values are single precision, roots of unity are computed in double. With u = 2^-24 and
/// independent roundings of variance u^2 / 3, a pass adds the roundings of a twiddle multiplication (three:
/// root, product, sum) and of the additions along its butterfly (1, 2, 4 and 5 for radix 2, 4, 3 and 5, and 1
/// for other primes, which add up in double). The relative root-mean-square error of a transform then is at
/// most u sqrt(roundings / 3), 1.7e-7 for 1024 = 4^5.

/// One pass: `count` groups of `radix` transforms of length `span`, laid one after the other.
struct FftPass {
    int radix;
    int span;
    int count;
    /// (cos, sin) of 2 pi j k / (radix span), j = 1 .. radix - 1 within k = 1 .. span - 1.
    const float* twiddles;
    /// General radix only: (cos, sin) of 2 pi j / radix, j = 0 .. radix - 1.
    const double* roots;
};

/// The point at angle 2 pi k / n on the unit circle, by a series in plain double arithmetic: each part within
/// 2^-52, and the same on every machine, unlike the sine of a mathematics library.
std::complex<double> rootOfUnity(long long k, long long n);

/// The tables of a transform length. Copies share them.
class FftPlan {
  public:
    explicit FftPlan(int length);

    int length() const { return length_; }
    const std::vector<FftPass>& passes() const { return passes_; }
    /// Where each input element is laid down.
    const int* positions() const { return positions_.data(); }
    /// Doubles of scratch that the passes need to transform `lanes` signals together.
    std::size_t scratchSize(int lanes) const;

  private:
    int length_;
    std::vector<FftPass> passes_;
    Buffer<int> positions_;
    Buffer<float> twiddles_;
    Buffer<double> roots_;
};

/// The tables of a real transform of length n, even: one complex transform of length n / 2 of the pairs
/// (x[2j], x[2j + 1]), whose bins k and n/2 - k then untangle to the bins of the real signal. This adds three
/// roundings for the twiddle multiplication and two for the sums.
class RealFftPlan {
  public:
    explicit RealFftPlan(int length);

    int length() const { return 2 * half_.length(); }
    const FftPlan& half() const { return half_; }
    /// (cos, sin) of 2 pi k / n, k = 0 .. n / 4.
    const float* twiddles() const { return twiddles_.data(); }

  private:
    FftPlan half_;
    Buffer<float> twiddles_;
};

/// Complex transform of one signal in place. Copies share scratch memory.
class ComplexFft {
  public:
    explicit ComplexFft(int length) : ComplexFft(FftPlan(length)) {}
    explicit ComplexFft(const FftPlan& plan);

    void forward(std::complex<float>* x) const { transform<true>(x); }
    void backward(std::complex<float>* x) const { transform<false>(x); }

  private:
    template <bool Forward>
    void transform(std::complex<float>* x) const;

    FftPlan plan_;
    Buffer<float> work_;
    Buffer<double> scratch_;
};

/// Real transform of one signal of even length n in place. The n / 2 + 1 bins are kept in half-complex order:
/// Re X0, Re X1, Im X1, Re X2, Im X2, ..., Re X(n/2). Copies share scratch memory.
class RealFft {
  public:
    explicit RealFft(int length) : RealFft(RealFftPlan(length)) {}
    explicit RealFft(const RealFftPlan& plan);

    void forward(float* r) const;
    void backward(float* r) const;

  private:
    RealFftPlan plan_;
    Buffer<float> work_;
    Buffer<float> bins_;
    Buffer<double> scratch_;
};

}  // namespace oravo::vision::detail

#endif
