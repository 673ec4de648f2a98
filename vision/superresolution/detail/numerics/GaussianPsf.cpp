#include "vision/superresolution/detail/numerics/GaussianPsf.h"

#include <algorithm>
#include <cmath>

namespace oravo::vision::detail {

float erfApproximation(float z) {
    constexpr float kA = 0.1400123f;
    constexpr float kFourOverPi = 1.2732395f;
    constexpr float kSaturated = 10.0f;  // from here the exponential is far below half an ulp of 1
    if (z == 0.0f) return 0.0f;
    const float sign = z < 0.0f ? -1.0f : 1.0f;
    if (std::abs(z) > kSaturated) return sign;  // also keeps z^2 from overflowing
    const float z2 = z * z;
    const float exponent = -z2 * (kFourOverPi + kA * z2) / (1.0f + kA * z2);
    return sign * static_cast<float>(std::sqrt(1.0 - std::exp(static_cast<double>(exponent))));
}

void gaussianPsf(float sigma, float factor, int length, float* taps) {
    std::fill_n(taps, length, 0.0f);
    const float scale = std::sqrt(2.0f) * sigma;
    const auto store = [&](int tap, float value) {
        if (tap < 0 || tap >= length) return 0.0f;  // factors between 1 and 4/3 reach beyond their few taps
        taps[tap] = value;
        return value;
    };
    float sum = 0.0f;
    int j = 0;
    do {
        const float outer = static_cast<float>(j + 1) / scale;
        const float inner = static_cast<float>(j) / scale;
        const float mass = 0.5f * (erfApproximation(outer) - erfApproximation(inner));
        sum += store(length / 2 + j, mass);
        sum += store(length / 2 - j - 1, mass);
        ++j;
    } while (factor > static_cast<float>(j));
    for (int i = 0; i < length; ++i) taps[i] /= sum;
}

void shiftedPsf(const float* base, int length, float shift, float* taps) {
    if (shift < 0.0f) {
        taps[0] = 0.0f;
        for (int i = 1; i < length; ++i) taps[i] = -shift * base[i - 1] + (1.0f + shift) * base[i];
    } else {
        for (int i = 0; i + 1 < length; ++i) taps[i] = shift * base[i + 1] + (1.0f - shift) * base[i];
        taps[length - 1] = 0.0f;
    }
}

}  // namespace oravo::vision::detail
