#include "vision/superresolution/detail/precise/Reconstruction.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/BicubicReference.h"
#include "vision/superresolution/detail/precise/DeadPixels.h"
#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/DeviationEstimate.h"
#include "vision/superresolution/detail/precise/Misfit.h"
#include "vision/superresolution/detail/precise/Trust.h"
#include "vision/superresolution/detail/precise/Weights.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr int kMargin = 4;  ///< of the grid: what frames see beyond the reference's border
constexpr SolverLimits kPatternDraft{1, 10, 1e-3};
constexpr int kPatternRounds = 6;
constexpr double kPatternSmoothness = 8.0;
constexpr double kWeakPattern = 5.0;  ///< root mean square, over the noise, up to which a pattern is weak
constexpr SolverLimits kSecondChance{3, 8, 1e-3};
constexpr float kForgiveness = 5.0f;   ///< of misfits, while values get a second chance
constexpr double kStillChange = 0.05;  ///< of the noise: the final image has converged when it moves less
constexpr double kLeastChange = 1e-4;
constexpr int kRefinements = 3;      ///< Gauss-Newton steps against an image
constexpr double kMostWorse = 1.05;  ///< misfit that a refined motion may have, over that before
constexpr double kStrength = 0.13;

}  // namespace

Reconstruction::Reconstruction(int width, int height, ReconstructionOptions options)
    : options_(std::move(options)),
      grid_{width, height, options_.factor, kMargin},
      solver_(grid_, options_.blur, options_.threads),
      pattern_(width, height, options_.threads),
      image_(grid_.columns(), grid_.rows()),
      deviation_(grid_.columns(), grid_.rows()),
      sensitivity_(grid_.columns(), grid_.rows()),
      presence_(grid_.columns(), grid_.rows()) {
    solver_.setCheckpoint([this] { report(share_); });
}

void Reconstruction::report(double share) {
    share_ = std::max(share_, share);  // frames may be placed twice
    if (options_.progress && !options_.progress(share_)) throw Cancelled();
}

void Reconstruction::solve(double strength, const SolverLimits& limits) {
    solver_.solve(frames_, pattern_.values(), strength, limits, image_);
}

void Reconstruction::refineMotions() {
    const SplineImage& coefficients = solver_.coefficients(image_);
    struct Work {
        explicit Work(const Grid& grid)
            : fit(grid), trust(areaOf(grid.width, grid.height)), values(trust.size()) {}
        MotionFit fit;
        Buffer<float> trust, values;
    };
    PerSlot<Work> works(options_.threads);
    options_.threads.forEach(static_cast<int>(frames_.size()), [&](int k, int slot) {
        FrameState& frame = frames_[static_cast<std::size_t>(k)];
        if (!frame.used || k == reference_) return;
        Work& work = works.at(slot, grid_);
        refineMotion(coefficients, frame, work.fit, work.trust, work.values);
    });
}

void Reconstruction::refineMotion(const SplineImage& coefficients, FrameState& frame, MotionFit& fit,
                                  const Buffer<float>& trust, const Buffer<float>& values) const {
    for (std::size_t q = 0; q < trust.size(); ++q) {
        trust[q] = frame.present[q] * frame.agreement[q];
        const float own = pattern_.values().size() != 0 ? pattern_.values()[q] : 0.0f;
        values[q] = frame.values[q] - static_cast<float>(frame.gain) * own;
    }
    FitLimits limits;
    limits.steps = kRefinements;
    FramePose pose{frame.motion, frame.gain, frame.offset};
    const FitOutcome outcome = fit.fit(coefficients, values.data(), trust.data(), frame.model, limits, pose);
    if (!outcome.valid || (frame.scale > 0.0 && outcome.misfit > kMostWorse * frame.scale)) return;
    frame.motion = pose.motion;
    frame.gain = pose.gain;
    frame.offset = pose.offset;
    frame.errors = outcome.errors;
    frame.runs = sampleRuns(grid_, frame.motion);
}

void Reconstruction::measure() {
    measureMisfit(grid_, solver_.coefficients(image_), pattern_.values(), frames_, options_.threads);
}

bool Reconstruction::updatePattern() {
    if (!options_.findPattern || !sceneMoves()) return false;
    const bool found = pattern_.update(frames_);
    if (found) measure();
    return found;
}

/// Whether what may be left of the pattern is lost in the noise; else it would pass for detail that drafts have missed.
bool Reconstruction::patternIsWeak() const {
    double squares = 0.0;
    for (const float value : pattern_.values()) squares += static_cast<double>(value) * value;
    const double most = kWeakPattern * medianScale(frames_);
    return squares <= most * most * static_cast<double>(pattern_.values().size());
}

void Reconstruction::dropDeadPixels() {
    if (!options_.findDeadPixels || !sceneMoves()) return;
    const bool hasImpulses =
        std::any_of(impulses_.begin(), impulses_.end(),
                    [](const std::vector<std::size_t>& pixels) { return !pixels.empty(); });
    if (hasImpulses) {  // they tell the most of a dead pixel
        showImpulses(1.0f);
        measure();
    }
    const std::vector<std::size_t> found = findDeadPixels(grid_, frames_, options_.threads);
    if (hasImpulses) showImpulses(0.0f);
    addDead(found);
}

/// The strength that is best for rendered bursts is proportional to noise^1.5, both in units of the contrast.
double Reconstruction::strengthFor(double noise) {
    return kStrength * noise * std::sqrt(noise);
}

double Reconstruction::guessStrength() const {
    return strengthFor(medianScale(frames_));
}

void Reconstruction::chooseStrength() {
    WithheldPixels withheld(grid_, options_.blur, frames_, reference_, pattern_.values(), image_,
                            options_.threads);
    withheld.setCheckpoint([this] { report(share_); });
    withheld_ = withheld.choose(options_.strength > 0.0 ? options_.strength : guessStrength());
    if (options_.strength > 0.0) withheld_.strength = options_.strength;
    withheldSteps_ = withheld.steps();
}

/// Drafts are smooth, so values at the finest details misfit and get low weights, and the image would never show these
/// details. Once the strength is known, such values are weighed leniently for one image, then by their misfit from it.
void Reconstruction::giveSecondChance() {
    weighByMisfit(grid_, frames_, kForgiveness, options_.threads);
    solve(withheld_.strength, kSecondChance);
    measure();
    weighByMisfit(grid_, frames_, 1.0f, options_.threads);
    weighByGain(grid_, frames_, reference_, pattern_.values(), options_.threads);
}

void Reconstruction::makeDraft() {
    BicubicReference(frames_[static_cast<std::size_t>(reference_)], grid_.width, grid_.height, {})
        .enlarge(grid_, image_, options_.threads);
    weighByAgreement(frames_);
    solve(options_.strength > 0.0 ? options_.strength : kFirstStrength, kDraft);
    refineMotions();
    measure();
}

void Reconstruction::findSensorFaults() {
    judgeKnownDead();
    dropDeadPixels();
    updatePattern();
    weighByMisfit(grid_, frames_, 1.0f, options_.threads);
    const auto strength = [this] { return options_.strength > 0.0 ? options_.strength : guessStrength(); };
    solve(strength(), kDraft);
    refineMotions();
    measure();
    dropDeadPixels();  // now also those that neighbouring dead pixels concealed
    for (int round = 0; round < kPatternRounds && updatePattern(); ++round) {
        // A smooth image cannot absorb the pattern.
        solve(kPatternSmoothness * strength(), kPatternDraft);
        measure();
    }
    if (pattern_.values().size() != 0 && patternIsWeak()) {
        // Fine detail misfits that smooth image, and would lose its weight.
        solve(strength(), kDraft);
        measure();
    }
    dropDeadPixels();
    weighByMisfit(grid_, frames_, 1.0f, options_.threads);
}

void Reconstruction::makeImage() {
    double change = kLeastChange;
    for (const FrameState& frame : frames_)
        change = std::max(change, frame.used ? kStillChange * frame.scale : 0.0);
    if (patternIsWeak()) giveSecondChance();
    solve(withheld_.strength, {kFinalFreezes, kFinalSteps, std::min(change, 1e-3)});
    measure();
    solver_.sensitivity(frames_, sensitivity_);
    // Where known dead pixels alone have seen the scene, the image keeps what the prior continues from around them.
    showKnownDead();
    solver_.presence(frames_, presence_);
    leaveOut(known_);
    noise_ = medianScale(frames_);
}

void Reconstruction::assessImage() {
    judge();
    measureShare();
    std::vector<FrameState> alone;
    if (leaning_ > 0.0) {
        alone.push_back(referenceAlone());
        fallBack(alone.front());
    }
    if (options_.deviation)
        noise_ = estimateDeviation(leaning_ < kMostLeaning ? frames_ : alone, solver_, deviation_,
                                   options_.threads);
}

void Reconstruction::run(int reference) {
    reference_ = reference;
    normalise();
    hideKnownDead();
    placeFrames();
    if (dropImpulses()) placeFrames();  // of the reference, they would count as what no other frame shows
    report(kPlaced);
    makeDraft();
    report(0.25);
    findSensorFaults();
    report(0.5);
    chooseStrength();
    report(0.75);
    makeImage();
    report(0.95);
    assessImage();
    report(1.0);
}

}  // namespace oravo::vision::detail::precise
