#include "vision/superresolution/detail/precise/Misfit.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr std::size_t kFewest = 16;    ///< values that a scale takes
constexpr double kUnknownScale = 1e3;  ///< of frames with fewer
constexpr double kLeastScale = 1e-6;
constexpr double kMostUnusual = 3.0;  ///< misfit of a frame, over the usual one
void measure(const Grid& grid, const SplineImage& image, const Buffer<float>& pattern, FrameState& frame) {
    std::vector<float> value(static_cast<std::size_t>(grid.width)), dx(value), dy(value), misfits, work;
    misfits.reserve(frame.values.size());
    std::fill(frame.inside.begin(), frame.inside.end(), 0.0f);
    const float inverseGain = static_cast<float>(1.0 / frame.gain);
    const float offset = static_cast<float>(frame.offset);
    for (const SampleRun& run : frame.runs) {
        preciseKernels().sampleGradient(image.view(), run, value.data(), dx.data(), dy.data());
        for (int i = run.first; i < run.first + run.count; ++i) {
            const std::size_t x = static_cast<std::size_t>(i);
            const std::size_t q = static_cast<std::size_t>(run.y) * static_cast<std::size_t>(grid.width) + x;
            frame.inside[q] = frame.present[q];
            const float own = pattern.size() != 0 ? pattern[q] : 0.0f;
            frame.misfit[q] = (frame.values[q] - offset) * inverseGain - own - value[x];
            frame.slope[q] = static_cast<float>(grid.factor) * std::sqrt(dx[x] * dx[x] + dy[x] * dy[x]);
            if (frame.inside[q] > 0.0f) misfits.push_back(frame.misfit[q]);
        }
    }
    frame.scale = misfits.size() < kFewest
                      ? kUnknownScale
                      : kSigmaPerMedian * medianMagnitude(misfits.data(), misfits.size(), work) + kLeastScale;
}

}  // namespace

double medianScale(const std::vector<FrameState>& frames) {
    std::vector<float> scales;
    for (const FrameState& frame : frames) {
        if (frame.used) scales.push_back(static_cast<float>(frame.scale));
    }
    return medianOf(scales);
}

void measureMisfit(const Grid& grid, const SplineImage& image, const Buffer<float>& pattern,
                   std::vector<FrameState>& frames, const Threads& threads) {
    threads.forEach(static_cast<int>(frames.size()), [&](int k, int) {
        FrameState& frame = frames[static_cast<std::size_t>(k)];
        if (frame.used) measure(grid, image, pattern, frame);
    });
}

bool fitsUsually(const FrameState& frame, double usual) {
    return frame.used && frame.scale <= kMostUnusual * usual;
}

}  // namespace oravo::vision::detail::precise
