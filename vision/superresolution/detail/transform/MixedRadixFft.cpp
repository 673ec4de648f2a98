#include "vision/superresolution/detail/transform/MixedRadixFft.h"

#include <algorithm>

#include "vision/superresolution/detail/transform/FftKernels.h"

namespace oravo::vision::detail {
namespace {

std::vector<int> radicesOf(int length) {
    std::vector<int> radices;
    int rest = length;
    const auto take = [&](int radix) {
        for (; rest % radix == 0; rest /= radix) radices.push_back(radix);
    };
    for (const int radix : {3, 4, 2, 5}) take(radix);
    for (int radix = 7; radix <= rest / radix; radix += 2) take(radix);
    if (rest > 1) radices.push_back(rest);
    return radices;
}

bool isGeneral(int radix) {
    return radix > 5;
}

/// Cosine and sine of an angle of at most pi / 4.
std::complex<double> seriesRoot(double angle) {
    constexpr int kTerms = 10;  // the first one left out is below 1e-20
    const double square = angle * angle;
    double cosine = 1.0;
    double sine = 1.0;
    for (int i = 2 * kTerms; i > 0; i -= 2) {
        cosine = 1.0 - square / static_cast<double>(i * (i - 1)) * cosine;
        sine = 1.0 - square / static_cast<double>(i * (i + 1)) * sine;
    }
    return {cosine, angle * sine};
}

template <class T>
void store(std::complex<double> root, T*& to) {
    *to++ = static_cast<T>(root.real());
    *to++ = static_cast<T>(root.imag());
}

std::size_t asSize(int n) {
    return static_cast<std::size_t>(n);
}

}  // namespace

std::complex<double> rootOfUnity(long long k, long long n) {
    constexpr double kPi = 3.14159265358979323846;
    // Folded into the first eighth of the circle in integers: points on the axes are exact, and mirrored points
    // are mirror images.
    long long eighths = 8 * (k % n);
    const bool lowerHalf = eighths > 4 * n;
    if (lowerHalf) eighths = 8 * n - eighths;
    const bool left = eighths > 2 * n;
    if (left) eighths = 4 * n - eighths;
    const bool steep = eighths > n;
    if (steep) eighths = 2 * n - eighths;
    std::complex<double> root = seriesRoot(kPi / 4.0 * static_cast<double>(eighths) / static_cast<double>(n));
    if (steep) root = {root.imag(), root.real()};
    if (left) root.real(-root.real());
    if (lowerHalf) root.imag(-root.imag());
    return root;
}

FftPlan::FftPlan(int length) : length_(length), positions_(asSize(length)) {
    const std::vector<int> radices = radicesOf(length);
    std::size_t twiddleCount = 0;
    std::size_t rootCount = 0;
    int span = 1;
    for (const int radix : radices) {
        twiddleCount += 2 * asSize(radix - 1) * asSize(span - 1);
        if (isGeneral(radix)) rootCount += 2 * asSize(radix);
        span *= radix;
    }
    twiddles_ = Buffer<float>(twiddleCount);
    roots_ = Buffer<double>(rootCount);

    float* twiddle = twiddles_.data();
    double* root = roots_.data();
    span = 1;
    for (const int radix : radices) {
        const int combined = radix * span;
        passes_.push_back({radix, span, length / combined, twiddle, isGeneral(radix) ? root : nullptr});
        for (long long k = 1; k < span; ++k) {
            for (int j = 1; j < radix; ++j) store(rootOfUnity(j * k, combined), twiddle);
        }
        for (int j = 0; isGeneral(radix) && j < radix; ++j) store(rootOfUnity(j, radix), root);
        span = combined;
    }

    for (int i = 0; i < length; ++i) {
        int rest = i;
        for (auto pass = passes_.rbegin(); pass != passes_.rend(); ++pass) {
            positions_[asSize(i)] += rest % pass->radix * pass->span;
            rest /= pass->radix;
        }
    }
}

std::size_t FftPlan::scratchSize(int lanes) const {
    int widest = 0;
    for (const FftPass& pass : passes_) {
        if (isGeneral(pass.radix)) widest = std::max(widest, pass.radix);
    }
    return 2 * asSize(widest) * asSize(lanes);
}

RealFftPlan::RealFftPlan(int length) : half_(length / 2), twiddles_(2 * (asSize(length) / 4 + 1)) {
    float* twiddle = twiddles_.data();
    for (int k = 0; k <= length / 4; ++k) store(rootOfUnity(k, length), twiddle);
}

ComplexFft::ComplexFft(const FftPlan& plan)
    : plan_(plan), work_(2 * asSize(plan.length())), scratch_(plan.scratchSize(1)) {
}

template <bool Forward>
void ComplexFft::transform(std::complex<float>* x) const {
    for (int i = 0; i < plan_.length(); ++i) {
        float* element = work_.data() + 2 * static_cast<std::ptrdiff_t>(plan_.positions()[i]);
        element[0] = x[i].real();
        element[1] = x[i].imag();
    }
    fft_kernels::transform<1, Forward>(plan_, work_.data(), scratch_.data());
    std::copy_n(work_.data(), work_.size(), reinterpret_cast<float*>(x));
}

template void ComplexFft::transform<true>(std::complex<float>*) const;
template void ComplexFft::transform<false>(std::complex<float>*) const;

RealFft::RealFft(const RealFftPlan& plan)
    : plan_(plan),
      work_(asSize(plan.length())),
      bins_(asSize(plan.length())),
      scratch_(plan.half().scratchSize(1)) {
}

void RealFft::forward(float* r) const {
    const int n = plan_.length();
    for (int j = 0; j < n / 2; ++j) {
        std::copy_n(r + 2 * j, 2,
                    work_.data() + 2 * static_cast<std::ptrdiff_t>(plan_.half().positions()[j]));
    }
    fft_kernels::transform<1, true>(plan_.half(), work_.data(), scratch_.data());
    fft_kernels::untangle<1>(plan_, work_.data());
    r[0] = work_[0];
    std::copy_n(work_.data() + 2, n - 2, r + 1);
    r[n - 1] = work_[1];
}

void RealFft::backward(float* r) const {
    const int n = plan_.length();
    bins_[0] = r[0];
    bins_[1] = r[n - 1];
    std::copy_n(r + 1, n - 2, bins_.data() + 2);
    fft_kernels::tangle<1>(plan_, bins_.data(), work_.data());
    fft_kernels::transform<1, false>(plan_.half(), work_.data(), scratch_.data());
    std::copy_n(work_.data(), n, r);
}

}  // namespace oravo::vision::detail
