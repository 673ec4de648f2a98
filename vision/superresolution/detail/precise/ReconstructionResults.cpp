// What callers read of a finished reconstruction, in the frames' unit and without the grid's margin.

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/Reconstruction.h"

namespace oravo::vision::detail::precise {
namespace {

/// Of the scene over the sensor, in pixels, that separates scene from sensor.
constexpr double kLeastMovement = 0.25;
constexpr double kLeastPresence = 1e-3;  ///< frames' worth of values below which a pixel is unknown

}  // namespace

double Reconstruction::movement() const {
    double n = 0.0, x = 0.0, y = 0.0, squares = 0.0;
    for (const FrameState& frame : frames_) {
        if (!frame.used) continue;
        n += 1.0;
        x += frame.motion.tx;
        y += frame.motion.ty;
        squares += frame.motion.tx * frame.motion.tx + frame.motion.ty * frame.motion.ty;
    }
    return n > 1.0 ? std::sqrt(std::max(0.0, squares / n - (x * x + y * y) / (n * n))) : 0.0;
}

bool Reconstruction::sceneMoves() const {
    return movement() > kLeastMovement;
}

double Reconstruction::noise() const {
    return contrast_ * noise_;
}

void Reconstruction::copyScaled(const PaddedImage& image, double scale, double offset, float* out) const {
    const double perFrame = static_cast<double>(grid_.factor) * grid_.factor;
    const int width = grid_.factor * grid_.width;
    for (int y = 0; y < grid_.factor * grid_.height; ++y) {
        const float* from = image.row(y + grid_.margin) + grid_.margin;
        const float* seen = presence_.row(y + grid_.margin) + grid_.margin;
        float* to = out + static_cast<std::ptrdiff_t>(y) * width;
        for (int x = 0; x < width; ++x) {
            to[x] = perFrame * seen[x] < kLeastPresence ? std::nanf("")
                                                        : static_cast<float>(from[x] * scale + offset);
        }
    }
}

void Reconstruction::copyImage(float* out) const {
    copyScaled(image_, contrast_, mean_, out);
}

void Reconstruction::copyDeviation(float* out) const {
    copyScaled(deviation_, contrast_, 0.0, out);
}

void Reconstruction::copyWeight(float* out) const {
    const float perFrame = static_cast<float>(grid_.factor * grid_.factor);
    const int width = grid_.factor * grid_.width;
    for (int y = 0; y < grid_.factor * grid_.height; ++y) {
        for (int x = 0; x < width; ++x) {
            out[static_cast<std::ptrdiff_t>(y) * width + x] =
                std::max(0.0f, perFrame * sensitivity_.row(y + grid_.margin)[x + grid_.margin]);
        }
    }
}

}  // namespace oravo::vision::detail::precise
