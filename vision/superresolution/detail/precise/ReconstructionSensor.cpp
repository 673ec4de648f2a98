// Pixels that are left out: dead ones that are known from earlier frames of a recording, until the frames at hand clear them,
// and impulses, before anything is aligned with them.

#include <algorithm>

#include "vision/superresolution/detail/precise/BicubicReference.h"
#include "vision/superresolution/detail/precise/DeadPixels.h"
#include "vision/superresolution/detail/precise/Impulses.h"
#include "vision/superresolution/detail/precise/Reconstruction.h"

namespace oravo::vision::detail::precise {

void Reconstruction::setKnownDead(const std::vector<std::size_t>& pixels) {
    if (!areTooManyDead(pixels)) known_ = pixels;
}

void Reconstruction::leaveOut(const std::vector<std::size_t>& pixels) {
    for (FrameState& frame : frames_) {
        for (const std::size_t q : pixels) {
            frame.present[q] = 0.0f;
            frame.inside[q] = 0.0f;
        }
    }
}

void Reconstruction::hideKnownDead() {
    hidden_.clear();
    for (const FrameState& frame : frames_) {
        std::vector<float> present;
        for (const std::size_t q : known_) present.push_back(frame.present[q]);
        hidden_.push_back(present);
    }
    leaveOut(known_);
}

void Reconstruction::forgetDead(const std::vector<std::size_t>& sound) {
    const auto isSound = [&](std::size_t q) { return std::binary_search(sound.begin(), sound.end(), q); };
    for (std::vector<float>& present : hidden_) {
        std::size_t kept = 0;
        for (std::size_t i = 0; i < known_.size(); ++i) {
            if (!isSound(known_[i])) present[kept++] = present[i];
        }
        present.resize(kept);
    }
    known_.erase(std::remove_if(known_.begin(), known_.end(), isSound), known_.end());
}

/// Marks the values of the pixels that are left out as present again.
void Reconstruction::showKnownDead() {
    for (std::size_t k = 0; k < frames_.size(); ++k) {
        for (std::size_t i = 0; i < known_.size(); ++i) frames_[k].present[known_[i]] = hidden_[k][i];
    }
}

/// The image was made without these pixels, so it predicts what each of them should have seen.
void Reconstruction::judgeKnownDead() {
    if (known_.empty()) return;
    showKnownDead();
    measure();
    if (options_.findDeadPixels && sceneMoves()) {
        forgetDead(findSound(grid_, frames_, known_));
    }
    addDead(known_);
}

/// An image that spikes, and those of the reference above all, have hardly a part in.
void Reconstruction::makeImpartialDraft(const std::vector<std::vector<std::size_t>>& spikes) {
    const auto reference = static_cast<std::size_t>(reference_);
    FrameState start = frames_[reference];
    start.present = Buffer<float>(start.values.size());
    std::copy_n(frames_[reference].present.data(), start.present.size(), start.present.data());
    for (const std::size_t q : spikes[reference]) start.present[q] = 0.0f;
    BicubicReference(start, grid_.width, grid_.height, {}).enlarge(grid_, image_, options_.threads);
    for (std::size_t k = 0; k < frames_.size(); ++k) {
        FrameState& frame = frames_[k];
        std::copy_n(frame.present.data(), frame.present.size(), frame.weight.data());
        for (const std::size_t q : spikes[k]) frame.weight[q] *= kSpikeWeight;
    }
    solve(options_.strength > 0.0 ? options_.strength : kFirstStrength, kDraft);
    measure();
}

bool Reconstruction::dropImpulses() {
    const auto used =
        std::count_if(frames_.begin(), frames_.end(), [](const FrameState& f) { return f.used; });
    if (!options_.findDeadPixels || used < kFewestForImpulses) return false;
    std::vector<std::vector<std::size_t>> spikes(frames_.size());
    for (std::size_t k = 0; k < frames_.size(); ++k) {
        if (frames_[k].used) spikes[k] = findSpikes(grid_, frames_[k], options_.threads);
    }
    const auto isEmpty = [](const std::vector<std::size_t>& pixels) { return pixels.empty(); };
    if (std::all_of(spikes.begin(), spikes.end(), isEmpty)) return false;
    makeImpartialDraft(spikes);
    impulses_ = findImpulses(grid_, frames_, options_.threads);
    showImpulses(0.0f);
    for (FrameState& frame : frames_)
        frame.scale = 0.0;  // nothing has been measured against the draft to come
    const bool found = !std::all_of(impulses_.begin(), impulses_.end(), isEmpty);
    if (sceneMoves()) leaveOutFlickering();
    return found;
}

/// @param present  1 for impulses that count as values, 0 for those that do not
void Reconstruction::showImpulses(float present) {
    for (std::size_t k = 0; k < frames_.size(); ++k) {
        for (const std::size_t q : impulses_[k]) frames_[k].present[q] = frames_[k].inside[q] = present;
    }
}

void Reconstruction::leaveOutFlickering() {
    std::vector<int> times(frames_.front().values.size());
    for (const std::vector<std::size_t>& ofFrame : impulses_) {
        for (const std::size_t q : ofFrame) ++times[q];
    }
    std::vector<std::size_t> flickering;
    for (std::size_t q = 0; q < times.size(); ++q) {
        if (times[q] >= kFlickers) flickering.push_back(q);
    }
    addDead(flickering);
}

bool Reconstruction::areTooManyDead(const std::vector<std::size_t>& pixels) const {
    const double area = static_cast<double>(grid_.width) * grid_.height;
    return static_cast<double>(pixels.size()) > kMostDead * area;
}

/// Takes pixels, ascending, for dead, whose impulses are then no more to be told apart from their other values. Where they
/// are too many for a sensor, it is noise, a codec or the camera's own filter that makes them odd.
void Reconstruction::addDead(const std::vector<std::size_t>& pixels) {
    if (areTooManyDead(pixels)) return;
    leaveOut(pixels);
    const auto isDead = [&](std::size_t q) { return std::binary_search(pixels.begin(), pixels.end(), q); };
    for (std::vector<std::size_t>& ofFrame : impulses_)
        ofFrame.erase(std::remove_if(ofFrame.begin(), ofFrame.end(), isDead), ofFrame.end());
    deadPixels_.insert(deadPixels_.end(), pixels.begin(), pixels.end());
    std::sort(deadPixels_.begin(), deadPixels_.end());
    deadPixels_.erase(std::unique(deadPixels_.begin(), deadPixels_.end()), deadPixels_.end());
}

}  // namespace oravo::vision::detail::precise
