#include "vision/superresolution/detail/SplitEngine.h"

#include <algorithm>

namespace oravo::vision::detail {
namespace {

constexpr std::ptrdiff_t kLine = 16;  // floats

std::ptrdiff_t pitchOf(int lowWidth) {
    return (lowWidth + kLine - 1) / kLine * kLine;
}

}  // namespace

SplitEngine::SplitEngine(FrameSize low, int maxFrames, InstructionSet level)
    : kernels_(solverKernels(level)),
      layout_(low),
      links_(SplitLinks::elements(layout_)),
      rightSide_(layout_),
      estimate_(layout_),
      residual_(layout_),
      direction_(layout_),
      image_(layout_),
      rings_(static_cast<std::size_t>(pitchOf(low.width) * (kGatheredRows + kMaskedRows) * maxFrames)),
      rows_(
          static_cast<std::size_t>(pitchOf(low.width) + kLine + kFrameGroup * (pitchOf(low.width) + kLine))),
      frames_(static_cast<std::size_t>(maxFrames)) {
    plan_.layout = layout_;
    plan_.pitch = pitchOf(low.width);
    plan_.frames = frames_.data();
    plan_.zeroRow = rows_.data();
    plan_.spreadRows = rows_.data() + plan_.pitch + kLine;
    plan_.spreadPitch = plan_.pitch + kLine;
    float* ring = rings_.data();
    for (SweepFrame& frame : frames_) {
        frame.gathered = ring;
        frame.masked = ring + plan_.pitch * kGatheredRows;
        ring += plan_.pitch * (kGatheredRows + kMaskedRows);
    }
}

StepVectors SplitEngine::vectors() const {
    return {estimate_.data(), direction_.data(), residual_.data(), image_.data()};
}

double SplitEngine::backProject(const Frame* frames, int count) {
    plan_.frameCount = count;
    for (int k = 0; k < count; ++k) {
        SweepFrame& frame = frames_[static_cast<std::size_t>(k)];
        frame.horizontal = frames[k].horizontal;
        frame.vertical = frames[k].vertical;
        frame.mask = frames[k].mask;
        frame.samples = frames[k].samples;
    }
    const double squares = kernels_.backProject(plan_, rightSide_.data());
    std::copy_n(rightSide_.data(), layout_.stride * layout_.rows(), estimate_.data());
    return squares;
}

void SplitEngine::freeze(float negativeInverseWeight, float epsilon, float inverseEpsilon) {
    kernels_.freeze(layout_, estimate_.data(), {negativeInverseWeight, epsilon, inverseEpsilon}, links());
}

double SplitEngine::startResidual() {
    kernels_.applyOperator(plan_, links(), estimate_.data(), residual_.data());
    return kernels_.startResidual(layout_, rightSide_.data(), residual_.data(), direction_.data());
}

double SplitEngine::applyToDirection() {
    return kernels_.applyOperator(plan_, links(), direction_.data(), image_.data());
}

double SplitEngine::step(float alpha) {
    return kernels_.step(layout_, vectors(), alpha);
}

void SplitEngine::turn(float beta) {
    kernels_.turn(layout_, vectors(), beta);
}

void SplitEngine::crop(int offset, int width, int height, float deviation, float mean, float* out) const {
    for (int r = 0; r < height; ++r) {
        const float* row = estimate_.data() + layout_.stride * (r + offset);
        float* target = out + static_cast<std::ptrdiff_t>(r) * width;
        // At factor 2 the crop starts at an even column and the result is of even width.
        const float* even = row + offset / 2;
        const float* odd = row + layout_.oddOffset + offset / 2;
        for (int i = 0; i < width / 2; ++i) {
            target[2 * i] = deviation * even[i] + mean;
            target[2 * i + 1] = deviation * odd[i] + mean;
        }
    }
}

}  // namespace oravo::vision::detail
