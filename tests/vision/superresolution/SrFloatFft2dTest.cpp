#include "vision/superresolution/SrFloatFft2d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <string>
#include <vector>

#include "support/Exception.h"
#include "tests/plain/PlainDft.h"
#include "tests/vision/superresolution/Spectra.h"

namespace oravo::test {
namespace {

using plain::Complexes;
using vision::SrFloatFft2d;

struct Size {
    int width;
    int height;
    std::size_t pixels() const { return asSize(width) * asSize(height); }
    std::size_t spectrumWidth() const { return asSize(width) / 2 + 1; }
    std::size_t bins() const { return spectrumWidth() * asSize(height); }
    std::string text() const { return std::to_string(width) + " x " + std::to_string(height); }
};

const Size kSizes[] = {{2, 1},  {2, 7},   {4, 1},   {6, 9},    {14, 5},   {16, 16},
                       {18, 8}, {22, 13}, {30, 17}, {130, 11}, {160, 120}};

Spectrum forward(Size size, const Floats& image) {
    Spectrum spectrum(size.bins());
    SrFloatFft2d(size.width, size.height).forward(image.data(), spectrum.data());
    return spectrum;
}

Floats backward(Size size, const Spectrum& spectrum) {
    Floats image(size.pixels());
    SrFloatFft2d(size.width, size.height).backward(spectrum.data(), image.data());
    return image;
}

Complexes plainHalfSpectrum(Size size, const Floats& image) {
    const Complexes full = plain::dft2d(Complexes(image.begin(), image.end()), asSize(size.width),
                                        asSize(size.height), kForward);
    Complexes half;
    for (std::size_t y = 0; y < asSize(size.height); ++y) {
        const auto row = full.begin() + static_cast<std::ptrdiff_t>(y * asSize(size.width));
        half.insert(half.end(), row, row + size.width / 2 + 1);
    }
    return half;
}

/// Weighted mean of the pixels around (x, y): those inside the image, or all of them on a torus.
double plainMean(Size size, const Floats& image, int x, int y, const Floats& taps, bool circular) {
    const int radius = static_cast<int>(taps.size()) - 1;
    double sum = 0.0;
    double weight = 0.0;
    for (int dy = -radius; dy <= radius; ++dy) {
        for (int dx = -radius; dx <= radius; ++dx) {
            const bool inside = x + dx >= 0 && x + dx < size.width && y + dy >= 0 && y + dy < size.height;
            if (!inside && !circular) continue;
            const double tap = static_cast<double>(taps[asSize(std::abs(dx))]) * taps[asSize(std::abs(dy))];
            const int column = (x + dx + radius * size.width) % size.width;
            const int row = (y + dy + radius * size.height) % size.height;
            sum += tap * image[asSize(row * size.width + column)];
            weight += tap;
        }
    }
    return circular ? sum : sum / weight;
}

std::string messageOf(void (*action)()) {
    try {
        action();
    } catch (const Exception& exception) {
        return exception.message();
    }
    return "nothing thrown";
}

TEST(SrFloatFft2d, EqualsTheDefinitionAndComesBackScaled) {
    for (const Size size : kSizes) {
        const Floats image = noise(size.pixels());
        const double limit = bound(roundings(size.width / 2) + 5 + roundings(size.height));
        const Spectrum spectrum = forward(size, image);
        EXPECT_LT(relativeError(spectrum, plainHalfSpectrum(size, image)), limit) << size.text();

        Complexes scaled(image.begin(), image.end());
        for (auto& value : scaled) value *= static_cast<double>(size.pixels());
        EXPECT_LT(relativeError(backward(size, spectrum), scaled), 2 * limit) << size.text();
    }
}

TEST(SrFloatFft2d, BackwardKeepsOnlyTheRealPartOfFirstAndLastColumn) {
    const Size size{10, 9};
    const Spectrum spectrum = complexNoise(size.bins());
    Complexes full(size.pixels());
    for (std::size_t y = 0; y < 9; ++y) {
        for (std::size_t x = 0; x < 10; ++x) {
            const std::complex<double> here = spectrum[y * 6 + (x < 6 ? x : 10 - x)];
            const std::complex<double> opposite = spectrum[(9 - y) % 9 * 6 + (x < 6 ? x : 10 - x)];
            if (x % 5 == 0)
                full[y * 10 + x] = 0.5 * (here + std::conj(opposite));
            else
                full[y * 10 + x] = x < 5 ? here : std::conj(opposite);
        }
    }
    EXPECT_LT(relativeError(backward(size, spectrum), plain::dft2d(full, 10, 9, kBackward)), 3e-7);
}

TEST(SrFloatFft2d, KeepsThePropertiesOfTheTransformAndItsInputs) {
    const Size size{36, 21};
    const Floats a = noise(size.pixels());
    const Floats b = noise(size.pixels());
    Floats mix(size.pixels());
    Floats moved(size.pixels());
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const auto at = asSize(y * size.width + x);
            mix[at] = 2.0f * a[at] - 0.5f * b[at];
            moved[asSize((y + 4) % size.height * size.width + (x + 7) % size.width)] = a[at];
        }
    }
    const Floats kept = a;
    const Spectrum spectrumA = forward(size, a);
    EXPECT_EQ(a, kept);
    const Spectrum spectrumB = forward(size, b);
    Complexes linear(size.bins());
    Complexes turned(size.bins());
    double power = 0.0;
    for (std::size_t i = 0; i < size.bins(); ++i) {
        const std::size_t ky = i / size.spectrumWidth();
        const std::size_t kx = i % size.spectrumWidth();
        const std::complex<double> bin = spectrumA[i];
        linear[i] = 2.0 * bin - 0.5 * std::complex<double>(spectrumB[i]);
        const double turns = 7.0 * static_cast<double>(kx) / 36.0 + 4.0 * static_cast<double>(ky) / 21.0;
        turned[i] = bin * std::polar(1.0, -2.0 * std::acos(-1.0) * turns);
        power += std::norm(bin) * (kx == 0 || kx == 18 ? 1.0 : 2.0);
    }
    double imagePower = 0.0;
    for (const float value : a) imagePower += static_cast<double>(value) * value;
    EXPECT_LT(relativeError(forward(size, mix), linear), 5e-7);
    EXPECT_LT(relativeError(forward(size, moved), turned), 5e-7);
    EXPECT_NEAR(power / static_cast<double>(size.pixels()) / imagePower, 1.0, 5e-7);

    Floats impulse(size.pixels());
    impulse[0] = 1.0f;
    EXPECT_EQ(forward(size, impulse), Spectrum(size.bins(), 1.0f));
    const Spectrum keptSpectrum = spectrumA;
    backward(size, spectrumA);
    EXPECT_EQ(spectrumA, keptSpectrum);
}

TEST(SrFloatFft2d, TransferFunctionIsTheTransformOfTheCircularKernel) {
    for (const Size size : {Size{2, 1}, Size{8, 11}, Size{20, 15}, Size{64, 48}}) {
        for (const int radius : {0, 1, 5, 9, 23}) {  // the longest ones wrap around the small sizes
            Floats taps(asSize(radius) + 1, -1.0f);
            Spectrum transfer(size.bins());
            const float sigma = std::sqrt(3.0f * static_cast<float>(radius * radius) / 25.0f);
            SrFloatFft2d(size.width, size.height).gaussFft(radius, sigma, transfer.data(), taps.data());

            double weight = taps[0];
            for (std::size_t j = 1; j < taps.size(); ++j) weight += 2.0 * taps[j];
            EXPECT_NEAR(weight, 1.0, 1e-6);
            // The library's error function is off by up to 1.3e-4.
            const auto mass = [&](double j) {
                return std::erf((j + 0.5) / std::sqrt(2.0) / sigma) -
                       std::erf((j - 0.5) / std::sqrt(2.0) / sigma);
            };
            double inside = mass(0);
            for (int j = 1; j <= radius; ++j) inside += 2.0 * mass(j);
            for (int j = 0; j <= radius; ++j) EXPECT_NEAR(taps[asSize(j)], mass(j) / inside, 3e-4);
            Floats impulse(size.pixels());
            impulse[0] = 1.0f / static_cast<float>(size.pixels());
            Floats kernel(size.pixels());
            for (int i = 0; i < static_cast<int>(size.pixels()); ++i) {
                kernel[asSize(i)] = static_cast<float>(
                    plainMean(size, impulse, i % size.width, i / size.width, taps, /*circular=*/true));
            }
            EXPECT_LT(relativeError(transfer, plainHalfSpectrum(size, kernel)), 5e-7)
                << size.text() << ", radius " << radius;
            EXPECT_NEAR(transfer[0].real() * static_cast<float>(size.pixels()), 1.0f, 1e-6f);
            EXPECT_EQ(transfer[0].imag(), 0.0f);
        }
    }
}

TEST(SrFloatFft2d, RepairedBlurIsTheMeanOverTheWindowInsideTheImage) {
    for (const Size size : {Size{2, 1}, Size{2, 40}, Size{10, 3}, Size{12, 13}, Size{24, 17}, Size{40, 30}}) {
        for (const int radius : {0, 1, 2, 5, 6, 8, 15}) {
            SrFloatFft2d fft(size.width, size.height);
            Floats taps(asSize(radius) + 1);
            Spectrum transfer(size.bins());
            fft.gaussFft(radius, 0.4f * static_cast<float>(radius), transfer.data(), taps.data());
            const Floats constant(size.pixels(), 300.0f);
            for (const bool flat : {false, true}) {
                const Floats image = flat ? constant : noise(size.pixels());
                const Floats kept = image;
                Spectrum spectrum = forward(size, image);
                for (std::size_t i = 0; i < spectrum.size(); ++i) spectrum[i] *= transfer[i];
                const Floats circular = backward(size, spectrum);
                Floats repaired = circular;
                fft.repairGaussBlur(image.data(), repaired.data(), radius, taps.data());
                EXPECT_EQ(image, kept);
                const double limit = flat ? 300.0 * 1e-6 : 2e-6;
                for (int i = 0; i < static_cast<int>(size.pixels()); ++i) {
                    const int x = i % size.width;
                    const int y = i / size.width;
                    const auto at = asSize(i);
                    ASSERT_NEAR(repaired[at], plainMean(size, image, x, y, taps, /*circular=*/false), limit)
                        << size.text() << ", radius " << radius << " at " << x << ", " << y;
                    if (x >= radius && y >= radius && x < size.width - radius && y < size.height - radius) {
                        ASSERT_EQ(repaired[at], circular[at]);
                    }
                }
            }
        }
    }
}

TEST(SrFloatFft2d, CopiesWorkAfterTheOriginalIsGone) {
    const Size size{12, 5};
    const Floats image = noise(size.pixels());
    SrFloatFft2d copy(2, 1);
    copy = SrFloatFft2d(size.width, size.height);
    Spectrum spectrum(size.bins());
    copy.forward(image.data(), spectrum.data());
    EXPECT_EQ(spectrum, forward(size, image));
}

TEST(SrFloatFft2d, RefusesWhatCannotBeTransformed) {
    const std::string needs = " specified, the Fourier transform needs an even width and at least one row.";
    EXPECT_EQ(messageOf([] { SrFloatFft2d(5, 4); }), "Invalid image size 5 x 4" + needs);
    EXPECT_EQ(messageOf([] { SrFloatFft2d(0, 4); }), "Invalid image size 0 x 4" + needs);
    EXPECT_EQ(messageOf([] { SrFloatFft2d(4, 0); }), "Invalid image size 4 x 0" + needs);
    EXPECT_EQ(messageOf([] { SrFloatFft2d(-2, 4); }), "Invalid image size -2 x 4 specified.");
    EXPECT_EQ(messageOf([] { SrFloatFft2d(1 << 16, 1 << 16); }),
              "Invalid image size 65536 x 65536 specified.");

    static SrFloatFft2d fft(4, 4);
    static Spectrum spectrum(12);
    static float taps[3];
    EXPECT_EQ(messageOf([] { fft.gaussFft(-1, 1.0f, spectrum.data(), taps); }),
              "Invalid blur radius -1 specified.");
    EXPECT_EQ(messageOf([] { fft.repairGaussBlur(taps, taps, -2, taps); }),
              "Invalid blur radius -2 specified.");
    EXPECT_EQ(messageOf([] { fft.gaussFft(2, -1.0f, spectrum.data(), taps); }),
              "Invalid blur sigma -1.000000 specified.");
    EXPECT_EQ(messageOf([] { fft.gaussFft(2, NAN, spectrum.data(), taps); }),
              "Invalid blur sigma nan specified.");
    EXPECT_EQ(messageOf([] { fft.gaussFft(2, INFINITY, spectrum.data(), taps); }),
              "Invalid blur sigma inf specified.");
}

}  // namespace
}  // namespace oravo::test
