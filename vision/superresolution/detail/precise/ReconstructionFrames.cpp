// Frames on their way in: their unit, and where each of them looked.

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/FirstGuess.h"
#include "vision/superresolution/detail/precise/Reconstruction.h"

namespace oravo::vision::detail::precise {

void Reconstruction::addFrame(const float* values, const float* present) {
    const std::size_t area = static_cast<std::size_t>(grid_.width) * static_cast<std::size_t>(grid_.height);
    FrameState frame;
    for (Buffer<float>* buffer : {&frame.values, &frame.present, &frame.agreement, &frame.weight,
                                  &frame.misfit, &frame.slope, &frame.inside}) {
        *buffer = Buffer<float>(area);
    }
    std::copy_n(values, area, frame.values.data());
    std::copy_n(present, area, frame.present.data());
    std::fill(frame.agreement.begin(), frame.agreement.end(), 1.0f);
    frames_.push_back(frame);
}

void Reconstruction::normalise() {
    const FrameState& reference = frames_[static_cast<std::size_t>(reference_)];
    double sum = 0.0, count = 0.0;
    for (std::size_t q = 0; q < reference.values.size(); ++q) {
        if (!(reference.present[q] > 0.0f)) continue;
        sum += reference.values[q];
        count += 1.0;
    }
    mean_ = count > 0.0 ? sum / count : 0.0;
    double squares = 0.0;
    for (std::size_t q = 0; q < reference.values.size(); ++q) {
        const double difference = reference.values[q] - mean_;
        if (reference.present[q] > 0.0f) squares += difference * difference;
    }
    contrast_ = count > 0.0 ? std::sqrt(squares / count) : 0.0;
    if (!(contrast_ > 0.0)) contrast_ = 1.0;  // a constant frame
    for (FrameState& frame : frames_) {
        for (std::size_t q = 0; q < frame.values.size(); ++q) {
            frame.values[q] =
                frame.present[q] > 0.0f ? static_cast<float>((frame.values[q] - mean_) / contrast_) : 0.0f;
        }
    }
}

bool Reconstruction::repeatsAnother(int k) const {
    const auto alike = [](const Buffer<float>& a, const Buffer<float>& b) {
        return std::equal(a.begin(), a.end(), b.begin());
    };
    const FrameState& frame = frames_[static_cast<std::size_t>(k)];
    const int step = k < reference_ ? 1 : -1;  // towards the reference: those have been placed
    for (int i = k + step; i != reference_ + step; i += step) {
        const FrameState& other = frames_[static_cast<std::size_t>(i)];
        if (other.used && alike(frame.values, other.values) && alike(frame.present, other.present))
            return true;
    }
    return false;
}

void Reconstruction::placeFrame(FirstGuess& guess, int k, int towardsReference) {
    FrameState& frame = frames_[static_cast<std::size_t>(k)];
    frame.used = !repeatsAnother(k);
    if (!frame.used) return;
    std::vector<Motion> hints;
    // Cameras move smoothly: hints are the motion of the neighbour in time, and that motion plus its last step.
    const int near = k + towardsReference, far = near + towardsReference;
    if (near != reference_) {
        const FrameState& last = frames_[static_cast<std::size_t>(near)];
        if (last.used) {
            hints.push_back(last.motion);
            const FrameState& older = frames_[static_cast<std::size_t>(far)];
            Motion onward = last.motion;
            onward.tx += last.motion.tx - older.motion.tx;
            onward.ty += last.motion.ty - older.motion.ty;
            if (older.used) hints.push_back(onward);
        }
    }
    guess.place(hints, frame);
    if (frame.used) frame.runs = sampleRuns(grid_, frame.motion);
}

void Reconstruction::placeFrames() {
    FrameState& reference = frames_[static_cast<std::size_t>(reference_)];
    reference.runs = sampleRuns(grid_, reference.motion);
    const int count = static_cast<int>(frames_.size());
    if (count == 1) return;
    FirstGuess guess(grid_.width, grid_.height, options_.threads);
    guess.setReference(reference);
    auto place = [&, placed = 1](int k, int towardsReference) mutable {
        placeFrame(guess, k, towardsReference);
        report(kPlaced * ++placed / count);
    };
    for (int k = reference_ - 1; k >= 0; --k) place(k, 1);
    for (int k = reference_ + 1; k < count; ++k) place(k, -1);
}

}  // namespace oravo::vision::detail::precise
