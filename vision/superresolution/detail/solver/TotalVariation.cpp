#include "vision/superresolution/detail/solver/TotalVariation.h"

#include <cmath>

namespace oravo::vision::detail {
namespace {

const float kInverseRootTwo = 1.0f / std::sqrt(2.0f);

struct LinkWeight {
    float negativeInverseWeight;
    float epsilon;
    float inverseEpsilon;

    float straight(float difference) const {
        const float u = std::abs(difference);
        const float clamped = u <= epsilon ? epsilon : (u >= inverseEpsilon ? inverseEpsilon : u);
        return negativeInverseWeight / clamped;
    }
    float oblique(float difference) const { return 0.5f * straight(difference * kInverseRootTwo); }
};

}  // namespace

TotalVariation::TotalVariation(FrameSize size)
    : size_(size), east_(size), south_(size), southWest_(size), southEast_(size), diagonal_(size) {
}

void TotalVariation::freeze(const float* x, float negativeInverseWeight, float epsilon, float inverseEpsilon,
                            FirstPixel firstPixel) {
    const LinkWeight weight{negativeInverseWeight, epsilon, inverseEpsilon};
    const std::ptrdiff_t n = size_.pixelCount();
    const std::ptrdiff_t width = size_.width;
    float* east = east_.data();
    float* south = south_.data();
    float* southWest = southWest_.data();
    float* southEast = southEast_.data();
    // All pixels are treated alike: links across a row end, and into the guard below, are set to 0 afterwards.
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        east[i] = weight.straight(x[i + 1] - x[i]);
        south[i] = weight.straight(x[i + width] - x[i]);
        southEast[i] = weight.oblique(x[i + width + 1] - x[i]);
        southWest[i] = weight.oblique(x[i + width - 1] - x[i]);
    }
    if (firstPixel == FirstPixel::second && n > 1) {
        east[0] = east[1];
        south[0] = weight.straight(x[width + 1] - x[1]);
        southEast[0] = weight.oblique(x[width + 2] - x[1]);
    }
    zeroLeavingLinks();
    sumDiagonal();
}

void TotalVariation::zeroLeavingLinks() {
    const std::ptrdiff_t n = size_.pixelCount();
    const std::ptrdiff_t width = size_.width;
    for (std::ptrdiff_t first = 0; first < n; first += width) {
        const std::ptrdiff_t last = first + width - 1;
        southWest_.data()[first] = 0.0f;
        east_.data()[last] = 0.0f;
        southEast_.data()[last] = 0.0f;
    }
    for (std::ptrdiff_t i = n - width; i < n; ++i) {
        south_.data()[i] = 0.0f;
        southEast_.data()[i] = 0.0f;
        southWest_.data()[i] = 0.0f;
    }
}

void TotalVariation::sumDiagonal() {
    const std::ptrdiff_t n = size_.pixelCount();
    const std::ptrdiff_t width = size_.width;
    const float* east = east_.data();
    const float* south = south_.data();
    const float* southWest = southWest_.data();
    const float* southEast = southEast_.data();
    float* diagonal = diagonal_.data();
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        diagonal[i] = -(east[i - 1] + east[i] + south[i - width] + south[i] + southEast[i - width - 1] +
                        southEast[i] + southWest[i - width + 1] + southWest[i]);
    }
}

void TotalVariation::apply(const float* v, float* out) const {
    const std::ptrdiff_t n = size_.pixelCount();
    const std::ptrdiff_t width = size_.width;
    const float* east = east_.data();
    const float* south = south_.data();
    const float* southWest = southWest_.data();
    const float* southEast = southEast_.data();
    const float* diagonal = diagonal_.data();
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i] = diagonal[i] * v[i] + east[i] * v[i + 1] + east[i - 1] * v[i - 1] + south[i] * v[i + width] +
                 south[i - width] * v[i - width] + southEast[i] * v[i + width + 1] +
                 southEast[i - width - 1] * v[i - width - 1] + southWest[i] * v[i + width - 1] +
                 southWest[i - width + 1] * v[i - width + 1];
    }
}

}  // namespace oravo::vision::detail
