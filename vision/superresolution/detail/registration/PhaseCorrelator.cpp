#include "vision/superresolution/detail/registration/PhaseCorrelator.h"

#include <cmath>
#include <limits>

#include "vision/superresolution/detail/registration/CornerTracker.h"

namespace oravo::vision::detail {
namespace {

using Bin = PhaseCorrelator::Bin;

float squaredMagnitude(Bin z) {
    return z.real() * z.real() + z.imag() * z.imag();
}

/// z conj(w), written out: the complex product of the standard library also handles infinities, which takes time.
Bin timesConjugate(Bin z, Bin w) {
    return {z.real() * w.real() + z.imag() * w.imag(), z.imag() * w.real() - z.real() * w.imag()};
}

/// Whether a spectrum shows one value only. Rounding leaves noise in the other bins of a constant frame, at
/// most 9e-8 of its mean for sizes with factors of every kind; structure has more energy than that, even where
/// each of its bins is weaker.
bool isConstant(const Bin* spectrum, std::size_t n) {
    constexpr double kRounding = 2.0 * std::numeric_limits<float>::epsilon();
    const auto energy = [](Bin z) { return std::norm(std::complex<double>(z)); };
    double structure = 0.0;
    for (std::size_t k = 1; k < n; ++k) structure += energy(spectrum[k]);
    return 2.0 * structure <=
           kRounding * kRounding * energy(spectrum[0]);  // the other half of the bins mirrors these
}

int wrapped(int position, int size) {
    return position > size / 2 ? position - size : position;
}

}  // namespace

PhaseCorrelator::PhaseCorrelator(FrameSize size, int gaussRadius, const CodeLocation& where)
    : fft_(size),
      filter_(fft_),
      gaussSpectrum_(spectrumSize()),
      crossSpectrum_(spectrumSize()),
      correlation_(size.elements()) {
    setGaussRadius(gaussRadius, where);
}

std::size_t PhaseCorrelator::spectrumSize() const {
    return static_cast<std::size_t>(fft_.spectrumWidth()) * static_cast<std::size_t>(fft_.size().height);
}

void PhaseCorrelator::setGaussRadius(int radius, const CodeLocation& where) {
    checkBlurRadius(radius, where);
    const Buffer<float> coefficients(static_cast<std::size_t>(radius) + 1);
    const Buffer<Bin> spectrum(spectrumSize());
    filter_.transferFunction(radius, registrationBlurSigma(radius), spectrum.data(), coefficients.data(),
                             where);
    gaussRadius_ = radius;
    gaussCoefficients_ = coefficients;
    gaussSpectrum_ = spectrum;
}

void PhaseCorrelator::blur(const Bin* spectrum, const float* frame, float* blurred,
                           const CodeLocation& where) {
    const std::size_t n = spectrumSize();
    for (std::size_t k = 0; k < n; ++k) crossSpectrum_[k] = timesConjugate(spectrum[k], gaussSpectrum_[k]);
    fft_.backward(crossSpectrum_.data(), blurred);
    filter_.repairBorder(frame, blurred, gaussRadius_, gaussCoefficients_.data(), where);
}

cv::Point_<int> PhaseCorrelator::shift(const Bin* reference, const Bin* frame) {
    const std::size_t n = spectrumSize();
    if (isConstant(reference, n) || isConstant(frame, n)) return {0, 0};
    for (std::size_t k = 0; k < n; ++k) {
        const float product = squaredMagnitude(frame[k]) * squaredMagnitude(reference[k]);
        const float magnitude = static_cast<float>(std::sqrt(static_cast<double>(product)));
        const Bin cross = timesConjugate(frame[k], reference[k]);
        const bool silent = magnitude == 0.0f || std::isinf(magnitude);
        crossSpectrum_[k] =
            silent ? Bin(0.0f, 0.0f) : Bin(cross.real() / magnitude, cross.imag() / magnitude);
    }
    fft_.backward(crossSpectrum_.data(), correlation_.data());

    const FrameSize size = fft_.size();
    int peak = 0;
    for (int i = 1; i < size.pixelCount(); ++i) {
        if (correlation_[static_cast<std::size_t>(i)] > correlation_[static_cast<std::size_t>(peak)])
            peak = i;
    }
    return {wrapped(peak % size.width, size.width), wrapped(peak / size.width, size.height)};
}

}  // namespace oravo::vision::detail
