// Dead pixels that are known from earlier frames of a recording: left out until the frames at hand clear them.

#include <algorithm>

#include "vision/superresolution/detail/precise/DeadPixels.h"
#include "vision/superresolution/detail/precise/Reconstruction.h"

namespace oravo::vision::detail::precise {

void Reconstruction::setKnownDead(const std::vector<std::size_t>& pixels) {
    const double area = static_cast<double>(grid_.width) * grid_.height;
    if (static_cast<double>(pixels.size()) <= kMostDead * area) known_ = pixels;
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
    leaveOut(known_);
    deadPixels_.insert(deadPixels_.end(), known_.begin(), known_.end());
}

}  // namespace oravo::vision::detail::precise
