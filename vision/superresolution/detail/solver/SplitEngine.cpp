#include "vision/superresolution/detail/solver/SplitEngine.h"

namespace oravo::vision::detail {
namespace {

constexpr std::ptrdiff_t kLine = SplitLayout::kBlock;

/// Length of a spread row with the zeros before it, and after it up to the length of a row of the image.
std::ptrdiff_t spreadRowLength(const SplitLayout& layout) {
    return kLine + layout.half + kLine;
}

/// Length of all rows of one frame; see SweepFrame.
std::ptrdiff_t rowsLength(const SplitLayout& layout) {
    return (2 + kMaskedRows) * layout.pitch + 2 * spreadRowLength(layout);
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
      rows_(static_cast<std::size_t>(2 * layout_.pitch + maxFrames * rowsLength(layout_))),
      frames_(static_cast<std::size_t>(maxFrames)) {
    plan_.layout = layout_;
    plan_.frames = frames_.data();
    plan_.zeroRow = rows_.data();
    plan_.factors = rows_.data() + layout_.pitch;
    float* row = plan_.factors + layout_.pitch;
    for (SweepFrame& frame : frames_) {
        frame.open = row;
        frame.masked = frame.open + 2 * layout_.pitch;
        frame.spread[0] = frame.masked + kMaskedRows * layout_.pitch + kLine;
        frame.spread[1] = frame.spread[0] + spreadRowLength(layout_);
        row += rowsLength(layout_);
    }
}

StepVectors SplitEngine::vectors() const {
    return {estimate_.data(), direction_.data(), residual_.data(), image_.data()};
}

double SplitEngine::backProject(const Frame* frames, int count) {
    takeDeferred();
    plan_.frameCount = count;
    for (int k = 0; k < count; ++k) {
        SweepFrame& frame = frames_[static_cast<std::size_t>(k)];
        frame.horizontal = frames[k].horizontal;
        frame.vertical = frames[k].vertical;
        frame.mask = frames[k].mask;
        frame.samples = frames[k].samples;
    }
    return kernels_.backProject(plan_, rightSide_.data(), estimate_.data());
}

void SplitEngine::freeze(float negativeInverseWeight, float epsilon, float inverseEpsilon) {
    linkParameters_ = {negativeInverseWeight, epsilon, inverseEpsilon};
}

DeferredUpdates SplitEngine::takeDeferred() {
    const DeferredUpdates deferred{estimateIsDue_ ? &alpha_ : nullptr, directionIsDue_ ? &beta_ : nullptr};
    estimateIsDue_ = directionIsDue_ = false;
    return deferred;
}

double SplitEngine::startResidual() {
    return kernels_.startResidual(plan_, links(), linkParameters_, vectors(), rightSide_.data(),
                                  takeDeferred().alpha);
}

double SplitEngine::applyToDirection() {
    return kernels_.applyOperator(plan_, links(), vectors(), takeDeferred());
}

double SplitEngine::step(float alpha) {
    completeEstimate();
    alpha_ = alpha;
    estimateIsDue_ = true;
    return kernels_.reduceResidual(layout_, vectors(), alpha);
}

void SplitEngine::updateDirection(float beta) {
    beta_ = beta;
    directionIsDue_ = true;
}

void SplitEngine::completeEstimate() {
    if (estimateIsDue_) kernels_.updateEstimate(layout_, vectors(), alpha_);
    estimateIsDue_ = false;
}

void SplitEngine::crop(int offset, int width, int height, float deviation, float mean, float* out) {
    completeEstimate();
    for (int r = 0; r < height; ++r) {
        const float* row = estimate_.data() + layout_.stride * (r + offset);
        float* target = out + static_cast<std::ptrdiff_t>(r) * width;
        // At factor 2 the crop starts at an even column and the result is of even width.
        const float* even = row + offset / 2;
        const float* odd = row + layout_.half + offset / 2;
        for (int i = 0; i < width / 2; ++i) {
            target[2 * i] = deviation * even[i] + mean;
            target[2 * i + 1] = deviation * odd[i] + mean;
        }
    }
}

}  // namespace oravo::vision::detail
