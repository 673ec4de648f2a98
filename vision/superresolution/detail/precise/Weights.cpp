#include "vision/superresolution/detail/precise/Weights.h"

#include <algorithm>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/Misfit.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr float kCauchy = 4.0f;          ///< misfit, in standard deviations, at which a value counts half
constexpr double kDisplacement = 0.05;   ///< of an edge that is not held against a value, in pixels
constexpr float kMostMisfit = 5.0f;      ///< standard deviations that one value adds to its neighbourhood
constexpr float kLocalTolerance = 2.0f;  ///< mean squared misfit of a neighbourhood that still fits
constexpr int kLocalRadius = 3;

}  // namespace

void weighByAgreement(std::vector<FrameState>& frames) {
    for (FrameState& frame : frames) {
        for (std::size_t q = 0; q < frame.weight.size(); ++q)
            frame.weight[q] = frame.present[q] * frame.agreement[q];
    }
}

void weighByMisfit(const Grid& grid, std::vector<FrameState>& frames, float forgiveness) {
    const double usual = medianScale(frames);
    const std::size_t area = static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height);
    Buffer<float> squared(area), local(area);
    for (FrameState& frame : frames) {
        if (!frame.used) continue;
        const float forgiven = forgiveness * forgiveness;
        const float noise = forgiven * static_cast<float>(frame.scale * frame.scale);
        const float edge = forgiven * static_cast<float>(kDisplacement * kDisplacement);
        const auto squaredMisfit = [&](std::size_t q) {
            return frame.misfit[q] * frame.misfit[q] / (noise + edge * frame.slope[q] * frame.slope[q]);
        };
        for (std::size_t q = 0; q < area; ++q) {
            squared[q] =
                frame.inside[q] > 0.0f ? std::min(squaredMisfit(q), kMostMisfit * kMostMisfit) : 0.0f;
        }
        boxMean(squared, frame.inside, grid.width, grid.height, kLocalRadius, local);
        const double share = usual / frame.scale;
        const float frameWeight = static_cast<float>(std::min(1.0, share * share));
        for (std::size_t q = 0; q < area; ++q) {
            const float localWeight = local[q] > kLocalTolerance ? kLocalTolerance / local[q] : 1.0f;
            const float weight = frameWeight * localWeight * frame.agreement[q] /
                                 (1.0f + squaredMisfit(q) / (kCauchy * kCauchy));
            frame.weight[q] = frame.inside[q] > 0.0f ? weight : 0.0f;
        }
    }
}

}  // namespace oravo::vision::detail::precise
