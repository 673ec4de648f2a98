// How far the frames can be trusted, and the fall-back to the reference where they cannot.

#include <algorithm>

#include "vision/superresolution/detail/precise/BicubicReference.h"
#include "vision/superresolution/detail/precise/Misfit.h"
#include "vision/superresolution/detail/precise/Reconstruction.h"
#include "vision/superresolution/detail/precise/Trust.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr float kFewOthers =
    0.5f;  ///< frames' worth of weight, below which the reference alone makes a pixel

}  // namespace

void Reconstruction::judge() {
    std::vector<FrameState> others(frames_);
    others.erase(others.begin() + reference_);
    const Evidence evidence{withheld_.error, withheld_.bicubicError, withheld_.frameNoise,
                            medianScale(others), frames_[static_cast<std::size_t>(reference_)].scale};
    leaning_ = leaningOnReference(evidence);
    gain_ = gainInDecibels(evidence);
    processed_ = isProcessed(evidence);
}

void Reconstruction::measureShare() {
    const PaddedImage own(grid_.columns(), grid_.rows());
    solver_.sensitivity({frames_[static_cast<std::size_t>(reference_)]}, own);
    const float perFrame =
        static_cast<float>(grid_.factor * grid_.factor) * static_cast<float>(1.0 - leaning_);
    double resting = 0.0;
    for (int y = grid_.margin; y < grid_.rows() - grid_.margin; ++y) {
        for (int x = grid_.margin; x < grid_.columns() - grid_.margin; ++x)
            resting += perFrame * (sensitivity_.row(y)[x] - own.row(y)[x]) < kFewOthers ? 1.0 : 0.0;
    }
    shareOnReference_ = resting / (static_cast<double>(grid_.columns() - 2 * grid_.margin) *
                                   (grid_.rows() - 2 * grid_.margin));
}

FrameState Reconstruction::referenceAlone() {
    FrameState alone = frames_[static_cast<std::size_t>(reference_)];
    alone.weight = alone.present;
    alone.scale = std::max(withheld_.frameNoise, 1e-6);
    return alone;
}

void Reconstruction::fallBack(const FrameState& alone) {
    const PaddedImage own(grid_.columns(), grid_.rows()), image(grid_.columns(), grid_.rows());
    const std::vector<FrameState> frames{alone};
    BicubicReference(alone, grid_.width, grid_.height, pattern_.values())
        .enlarge(grid_, image, options_.threads);
    // Frames that a codec has smoothed do not follow the camera model, and solving for it would sharpen artefacts.
    if (!processed_) {
        WithheldPixels withheld(grid_, options_.blur, frames, 0, pattern_.values(), image, options_.threads);
        const double guess = strengthFor(alone.scale);
        const double strength = options_.strength > 0.0 ? options_.strength : withheld.choose(guess).strength;
        withheldSteps_ += withheld.steps();
        solver_.solve(frames, pattern_.values(), strength, {kFinalFreezes, kFinalSteps, 1e-3}, image);
    }
    solver_.presence(frames, own);
    const float perFrame = static_cast<float>(grid_.factor * grid_.factor),
                leaning = static_cast<float>(leaning_);
    for (int y = 0; y < grid_.rows(); ++y) {
        for (int x = 0; x < grid_.columns(); ++x) {
            // Where the reference has no value, the image of all frames stays.
            const float share = leaning * std::clamp(perFrame * own.row(y)[x], 0.0f, 1.0f);
            image_.row(y)[x] += share * (image.row(y)[x] - image_.row(y)[x]);
            sensitivity_.row(y)[x] += share * (own.row(y)[x] - sensitivity_.row(y)[x]);
        }
    }
}

}  // namespace oravo::vision::detail::precise
