#include "vision/superresolution/detail/transform/GaussianFilter.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "vision/superresolution/detail/numerics/GaussianPsf.h"

namespace oravo::vision::detail {
namespace {

/// Beyond it, single precision no longer distinguishes the distances of neighbouring pixels.
constexpr int kLargestRadius = 1 << 24;

/// Calls add(position, value) for every tap of a kernel centred at position 0 of a circle.
template <class Add>
void layAround(int length, int radius, const float* taps, Add add) {
    add(0, taps[0]);
    for (int j = 1; j <= radius; ++j) {
        const int right = j % length;
        add(right, taps[j]);
        add((length - right) % length, taps[j]);
    }
}

/// One over the weight of a kernel centred at `position` that lies within 0 .. length - 1.
float gainAt(int position, int length, int radius, const float* taps) {
    float inside = taps[0];
    for (int d = 1; d <= std::min(radius, position); ++d) inside += taps[d];
    for (int d = 1; d <= std::min(radius, length - 1 - position); ++d) inside += taps[d];
    return 1.0f / inside;
}

bool reachesBorder(int position, int length, int radius) {
    return position < radius || position >= length - radius;
}

}  // namespace

void checkBlurRadius(int radius, const CodeLocation& where) {
    if (radius < 0 || radius > kLargestRadius)
        raise(ErrorKind::badArgument, "Invalid blur radius " + std::to_string(radius) + " specified.", where);
}

void gaussianTaps(int radius, float sigma, float* taps, const CodeLocation& where) {
    checkBlurRadius(radius, where);
    const float scale = std::sqrt(2.0f) * sigma;
    float sum = 0.0f;
    for (int j = 0; j <= radius; ++j) {
        const float distance = static_cast<float>(j);
        taps[j] = 0.5f *
                  (erfApproximation((distance + 0.5f) / scale) - erfApproximation((distance - 0.5f) / scale));
        sum += j == 0 ? taps[j] : 2.0f * taps[j];
    }
    if (!(sigma >= 0.0f) || !(sum > 0.0f)) {
        raise(ErrorKind::badArgument, "Invalid blur sigma " + std::to_string(sigma) + " specified.", where);
    }
    for (int j = 0; j <= radius; ++j) taps[j] /= sum;
}

/// Columns left .. right - 1 of rows top .. bottom - 1.
struct GaussianFilter::Zone {
    int left;
    int right;
    int top;
    int bottom;
};

GaussianFilter::GaussianFilter(const RealFft2d& fft)
    : size_(fft.size()),
      rowFft_(fft.rowPlan()),
      columnFft_(fft.columnPlan()),
      row_(static_cast<std::size_t>(size_.width)),
      column_(static_cast<std::size_t>(size_.height)),
      gains_(static_cast<std::size_t>(size_.width)) {
}

void GaussianFilter::transferFunction(int radius, float sigma, std::complex<float>* spectrum, float* taps,
                                      const CodeLocation& where) const {
    gaussianTaps(radius, sigma, taps, where);

    const float scale = 1.0f / (static_cast<float>(size_.width) * static_cast<float>(size_.height));
    std::fill(row_.begin(), row_.end(), 0.0f);
    layAround(size_.width, radius, taps, [&](int x, float tap) { row_.data()[x] += tap * scale; });
    rowFft_.forward(row_.data());
    std::fill(column_.begin(), column_.end(), 0.0f);
    layAround(size_.height, radius, taps, [&](int y, float tap) { column_.data()[y] += tap; });
    columnFft_.forward(column_.data());

    const int half = size_.width / 2;
    for (const std::complex<float>& vertical : column_) {
        const auto times = [&](float re, float im) -> std::complex<float> {
            return {re * vertical.real() - im * vertical.imag(), re * vertical.imag() + im * vertical.real()};
        };
        *spectrum++ = times(row_[0], 0.0f);
        for (int k = 1; k < half; ++k) *spectrum++ = times(row_.data()[2 * k - 1], row_.data()[2 * k]);
        *spectrum++ = times(row_.data()[2 * half - 1], 0.0f);
    }
}

void GaussianFilter::repairBorder(const float* source, float* blurred, int radius, const float* taps,
                                  const CodeLocation& where) const {
    checkBlurRadius(radius, where);
    const int width = size_.width;
    const int height = size_.height;
    // In images smaller than two radii the zones meet in the middle.
    const int top = std::min(radius, height);
    const int bottom = std::max(height - radius, top);
    const int left = std::min(radius, width);
    const int right = std::max(width - radius, left);
    for (int x = 0; x < width; ++x) {
        gains_.data()[x] = reachesBorder(x, width, radius) ? gainAt(x, width, radius, taps) : 1.0f;
    }
    for (const Zone& zone : {Zone{0, width, 0, top}, Zone{0, width, bottom, height},
                             Zone{0, left, top, bottom}, Zone{right, width, top, bottom}}) {
        blurZone(zone, source, blurred, radius, taps);
    }
}

void GaussianFilter::blurZone(const Zone& zone, const float* source, float* blurred, int radius,
                              const float* taps) const {
    const auto pitch = static_cast<std::ptrdiff_t>(size_.width);
    const int reachLeft = std::max(zone.left - radius, 0);
    const int reachRight = std::min(zone.right, size_.width - radius) + radius;
    const auto addTo = [](float* __restrict to, const float* __restrict from, float tap, int count) {
        for (int i = 0; i < count; ++i) to[i] += tap * from[i];
    };
    for (int y = zone.top; y < zone.bottom; ++y) {
        const float rowGain =
            reachesBorder(y, size_.height, radius) ? gainAt(y, size_.height, radius, taps) : 1.0f;
        std::fill(row_.data() + reachLeft, row_.data() + reachRight, 0.0f);
        for (int d = -std::min(radius, y); d <= std::min(radius, size_.height - 1 - y); ++d) {
            addTo(row_.data() + reachLeft, source + pitch * (y + d) + reachLeft, rowGain * taps[std::abs(d)],
                  reachRight - reachLeft);
        }
        float* out = blurred + pitch * y;
        std::fill(out + zone.left, out + zone.right, 0.0f);
        for (int d = -std::min(radius, zone.right - 1); d <= std::min(radius, size_.width - 1 - zone.left);
             ++d) {
            const int first = std::max(zone.left, -d);
            const int last = std::min(zone.right, size_.width - d);
            if (first < last) addTo(out + first, row_.data() + first + d, taps[std::abs(d)], last - first);
        }
        for (int x = zone.left; x < zone.right; ++x) out[x] *= gains_.data()[x];
    }
}

}  // namespace oravo::vision::detail
