#include "vision/superresolution/detail/precise/Weights.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/BicubicReference.h"
#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/Misfit.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr float kCauchy = 4.0f;         ///< misfit, in standard deviations, at which a value counts half
constexpr double kDisplacement = 0.05;  ///< of an edge that is not held against a value, in pixels
constexpr float kMostSquared = 25.0f;   ///< squared misfit that one value adds to its neighbourhood
constexpr int kLocalRadius = 3;
// Mean squared misfit of a neighbourhood: up to which it fits, from which it loses more, and where it counts no more.
constexpr float kFits = 2.0f, kFarOff = 10.0f, kLost = 20.0f;
constexpr float kExplained = 1.3f, kUnexplained = 1.8f;  ///< root mean square misfit
constexpr float kHardlyBetter = 1.78f,
                kBetter = 2.51f;  ///< squared misfit of bicubic over the image's: 2.5, 4 dB

float shareOfNeighbourhood(float mean) {
    if (mean <= kFits) return 1.0f;
    const float rest = std::clamp((kLost - mean) / (kLost - kFarOff), 0.0f, 1.0f);
    return kFits / mean * rest * rest * rest;
}

/// How far a neighbourhood leaves the image no better than bicubic interpolation, from 0 to 1.
float hardlyBetter(float mean, float bicubicMean) {
    const float missed = std::clamp((std::sqrt(mean) - kExplained) / (kUnexplained - kExplained), 0.0f, 1.0f);
    const float gained = (bicubicMean / mean - kHardlyBetter) / (kBetter - kHardlyBetter);
    return missed * (1.0f - std::clamp(gained, 0.0f, 1.0f));
}

/// The misfit of a frame against bicubic interpolation of the reference, where it is wanted.
void measureBicubicMisfit(const Grid& grid, const BicubicReference& bicubic, const Buffer<float>& pattern,
                          const Buffer<float>& wanted, const FrameState& frame, Buffer<float>& misfit) {
    const double middleX = 0.5 * (grid.width - 1), middleY = 0.5 * (grid.height - 1);
    for (int j = 0; j < grid.height; ++j) {
        for (int i = 0; i < grid.width; ++i) {
            const std::size_t q = areaOf(j, grid.width) + static_cast<std::size_t>(i);
            misfit[q] = 0.0f;
            if (!(frame.inside[q] > 0.0f) || !(wanted[q] > 0.0f)) continue;
            const double x = i - middleX, y = j - middleY;
            const double own = pattern.size() != 0 ? pattern[q] : 0.0;
            const double seen = (frame.values[q] - frame.offset) / frame.gain - own;
            misfit[q] = static_cast<float>(
                seen - bicubic.at(frame.motion.x(x, y) + middleX, frame.motion.y(x, y) + middleY));
        }
    }
}

}  // namespace

LocalMisfit::LocalMisfit(const Grid& grid)
    : grid_(grid), own_(areaOf(grid.width, grid.height)), capped_(own_.size()), mean_(own_.size()) {
}

void LocalMisfit::measure(const FrameState& frame, const Buffer<float>& misfit, float forgiveness) {
    const float forgiven = forgiveness * forgiveness;
    const float noise = forgiven * static_cast<float>(frame.scale * frame.scale);
    const float edge = forgiven * static_cast<float>(kDisplacement * kDisplacement);
    for (std::size_t q = 0; q < own_.size(); ++q) {
        own_[q] = misfit[q] * misfit[q] / (noise + edge * frame.slope[q] * frame.slope[q]);
        capped_[q] = frame.inside[q] > 0.0f ? std::min(own_[q], kMostSquared) : 0.0f;
    }
    boxMean(capped_, frame.inside, grid_.width, grid_.height, kLocalRadius, mean_);
}

void weighByAgreement(std::vector<FrameState>& frames) {
    for (FrameState& frame : frames) {
        for (std::size_t q = 0; q < frame.weight.size(); ++q)
            frame.weight[q] = frame.present[q] * frame.agreement[q];
    }
}

namespace {

void weigh(FrameState& frame, double usual, float forgiveness, LocalMisfit& misfit) {
    misfit.measure(frame, frame.misfit, forgiveness);
    const double share = usual / frame.scale;
    const float frameWeight = static_cast<float>(std::min(1.0, share * share));
    for (std::size_t q = 0; q < frame.weight.size(); ++q) {
        const float neighbourhood = shareOfNeighbourhood(misfit.mean(q));
        const float weight =
            frameWeight * neighbourhood * frame.agreement[q] / (1.0f + misfit.own(q) / (kCauchy * kCauchy));
        frame.weight[q] = frame.inside[q] > 0.0f ? weight : 0.0f;
    }
}

/// What a thread needs to weigh a frame by its gain over bicubic interpolation.
struct GainMisfits {
    explicit GainMisfits(const Grid& grid)
        : own(grid),
          bicubic(grid),
          suspect(areaOf(grid.width, grid.height)),
          wanted(suspect.size()),
          against(suspect.size()) {}

    LocalMisfit own, bicubic;
    Buffer<float> suspect, wanted, against;
};

void takeWeight(const Grid& grid, const BicubicReference& bicubic, const Buffer<float>& pattern,
                const Buffer<float>& everywhere, FrameState& frame, GainMisfits& misfits) {
    misfits.own.measure(frame, frame.misfit);
    for (std::size_t q = 0; q < frame.weight.size(); ++q)
        misfits.suspect[q] = misfits.own.mean(q) > kExplained * kExplained ? 1.0f : 0.0f;
    boxMean(misfits.suspect, everywhere, grid.width, grid.height, kLocalRadius, misfits.wanted);
    measureBicubicMisfit(grid, bicubic, pattern, misfits.wanted, frame, misfits.against);
    misfits.bicubic.measure(frame, misfits.against);
    for (std::size_t q = 0; q < frame.weight.size(); ++q) {
        if (misfits.suspect[q] > 0.0f)
            frame.weight[q] *= 1.0f - hardlyBetter(misfits.own.mean(q), misfits.bicubic.mean(q));
    }
}

}  // namespace

void weighByMisfit(const Grid& grid, std::vector<FrameState>& frames, float forgiveness,
                   const Threads& threads) {
    const double usual = medianScale(frames);
    PerSlot<LocalMisfit> misfits(threads);
    threads.forEach(static_cast<int>(frames.size()), [&](int k, int slot) {
        FrameState& frame = frames[static_cast<std::size_t>(k)];
        if (frame.used) weigh(frame, usual, forgiveness, misfits.at(slot, grid));
    });
}

void weighByGain(const Grid& grid, std::vector<FrameState>& frames, int reference,
                 const Buffer<float>& pattern, const Threads& threads) {
    Buffer<float> everywhere(areaOf(grid.width, grid.height));
    std::fill(everywhere.begin(), everywhere.end(), 1.0f);
    const BicubicReference bicubic(frames[static_cast<std::size_t>(reference)], grid.width, grid.height,
                                   pattern);
    PerSlot<GainMisfits> misfits(threads);
    threads.forEach(static_cast<int>(frames.size()), [&](int k, int slot) {
        FrameState& frame = frames[static_cast<std::size_t>(k)];
        if (!frame.used || k == reference) return;
        takeWeight(grid, bicubic, pattern, everywhere, frame, misfits.at(slot, grid));
    });
}

}  // namespace oravo::vision::detail::precise
