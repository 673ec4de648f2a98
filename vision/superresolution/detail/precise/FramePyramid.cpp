#include "vision/superresolution/detail/precise/FramePyramid.h"

#include <algorithm>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/SeparableFilter.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kLevelBlur = 1.2;  ///< before every second pixel is taken
constexpr int kCoarsest = 48;       ///< frames whose shorter side is longer are halved
constexpr int kBalanceRadius = 2;   ///< of the neighbourhood that a slope is taken over
constexpr float kBalance = 25.0f;   ///< mean square of the slope over its median at which a pixel counts half

/// A frame blurred over its defects.
/// @param weight  how much of each value comes from the frame's pixels, from 0 to 1
PaddedImage blurredFrame(const FrameState& frame, int width, int height, const Threads& threads,
                         PaddedImage& weight) {
    const PaddedImage values(width, height), present(width, height);
    threads.forEachRow(height, [&](int y) {
        const std::ptrdiff_t start = static_cast<std::ptrdiff_t>(y) * width;
        std::copy_n(frame.present.data() + start, width, present.row(y));
        // Pixels that are left out keep their values.
        std::transform(present.row(y), present.row(y) + width, frame.values.data() + start, values.row(y),
                       [](float there, float value) { return there * value; });
    });
    const BlurTaps taps = gaussianTaps(kFrameBlur);
    PaddedImage sum = filtered(taps, values, threads);
    weight = filtered(taps, present, threads);
    threads.forEachRow(height, [&](int y) {
        for (int x = 0; x < width; ++x) sum.row(y)[x] /= std::max(weight.row(y)[x], 0.05f);
    });
    return sum;
}

PaddedImage halved(const PaddedImage& image, const Threads& threads) {
    const PaddedImage blurred = filtered(gaussianTaps(kLevelBlur), image, threads);
    PaddedImage half(image.columns() / 2, image.rows() / 2);
    threads.forEachRow(half.rows(), [&](int y) {
        const float* upper = blurred.row(2 * y);
        const float* lower = blurred.row(2 * y + 1);
        for (int x = 0; x < half.columns(); ++x) {
            half.row(y)[x] = 0.25f * ((upper[2 * x] + upper[2 * x + 1]) + (lower[2 * x] + lower[2 * x + 1]));
        }
    });
    return half;
}

/// 1 where most of a blurred value comes from pixels that the frame has.
Buffer<float> knownPart(const PaddedImage& weight) {
    Buffer<float> known = denseCopy(weight);
    for (float& value : known) value = value > kLeastKnown ? 1.0f : 0.0f;
    return known;
}

/// known / (1 + slope^2 / typical slope^2), with slopes by their mean square around a pixel: so every part of a frame has about
/// the same influence, a hot plate that moves on its own as well as the faint background that fills most of the frame.
Buffer<float> balanced(const PaddedImage& image, const Buffer<float>& known, const Threads& threads) {
    const int width = image.columns(), height = image.rows();
    const Buffer<float> squares(areaOf(width, height));
    threads.forEachRow(height, [&](int y) {
        const float* above = image.row(std::max(0, y - 1));
        const float* below = image.row(std::min(height - 1, y + 1));
        for (int x = 0; x < width; ++x) {
            const float* row = image.row(y);
            const float dx = row[std::min(width - 1, x + 1)] - row[std::max(0, x - 1)],
                        dy = below[x] - above[x];
            squares[areaOf(y, width) + static_cast<std::size_t>(x)] = dx * dx + dy * dy;
        }
    });
    Buffer<float> out(squares.size());
    boxMean(squares, known, width, height, kBalanceRadius, out, threads);
    std::vector<float> work;
    const float typical =
        kBalance * static_cast<float>(medianMagnitude(out.data(), out.size(), work)) + 1e-12f;
    for (std::size_t q = 0; q < out.size(); ++q) out[q] = known[q] * typical / (typical + out[q]);
    return out;
}

}  // namespace

std::vector<PyramidLevel> framePyramid(const FrameState& frame, int width, int height,
                                       const Threads& threads) {
    std::vector<PyramidLevel> levels;
    PaddedImage weight;
    PaddedImage image = blurredFrame(frame, width, height, threads, weight);
    for (;;) {
        const Buffer<float> known = knownPart(weight);
        levels.push_back({Grid{image.columns(), image.rows(), 1, 0}, image,
                          filtered(splineTaps(), image, threads), known, balanced(image, known, threads)});
        if (std::min(image.columns(), image.rows()) < kCoarsest) return levels;
        image = halved(image, threads);
        weight = halved(weight, threads);
    }
}

}  // namespace oravo::vision::detail::precise
