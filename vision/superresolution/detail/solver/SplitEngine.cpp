#include "vision/superresolution/detail/solver/SplitEngine.h"

#include <algorithm>
#include <utility>

namespace oravo::vision::detail {
namespace {

constexpr std::ptrdiff_t kLine = SplitLayout::kBlock;

constexpr int kLeastBand = 16;     ///< sample rows; four more are correlated twice
constexpr int kBandsOfThread = 4;  ///< small ones are still in the cache when their products are added

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
      maxFrames_(maxFrames) {
    addSlot();
}

void SplitEngine::addSlot() {
    Slot slot;
    slot.rows = Buffer<float>(static_cast<std::size_t>(2 * layout_.pitch + maxFrames_ * rowsLength(layout_)));
    slot.frames.resize(static_cast<std::size_t>(maxFrames_));
    slot.plan.layout = layout_;
    slot.plan.frames = slot.frames.data();
    slot.plan.zeroRow = slot.rows.data();
    slot.plan.factors = slot.rows.data() + layout_.pitch;
    float* row = slot.plan.factors + layout_.pitch;
    for (SweepFrame& frame : slot.frames) {
        frame.open = row;
        frame.masked = frame.open + 2 * layout_.pitch;
        frame.spread[0] = frame.masked + kMaskedRows * layout_.pitch + kLine;
        frame.spread[1] = frame.spread[0] + spreadRowLength(layout_);
        row += rowsLength(layout_);
    }
    slots_.push_back(std::move(slot));
}

void SplitEngine::setThreads(const Threads& threads) {
    threads_ = threads;
    slots_.resize(1);
    while (static_cast<int>(slots_.size()) < threads.count()) addSlot();
    bands_ = threads.count() == 1
                 ? 1
                 : std::clamp(layout_.lowHeight / kLeastBand, 1, kBandsOfThread * threads.count());
}

SweepBand SplitEngine::bandOf(int band) const {
    const Band rows = Threads::bandOf(band, bands_, layout_.lowHeight);
    return {rows.first, rows.end};
}

template <class Prepare, class Work>
double SplitEngine::sweepBands(const float* a, const float* b, const Prepare& prepare, const Work& work) {
    LaneSum sum;
    if (bands_ == 1) {
        work(slots_.front().plan, bandOf(0), &sum);
        return sum.total();
    }
    threads_.forEach(bands_ - 1, [&](int band, int) { prepare(2 * bandOf(band).end); });
    threads_.inOrder(
        bands_,
        [&](int band, int slot) { work(slots_[static_cast<std::size_t>(slot)].plan, bandOf(band), nullptr); },
        [&](int band) {
            const int end = band + 1 < bands_ ? 2 * bandOf(band).end : layout_.rows();
            kernels_.addProducts(layout_, a, b, 2 * bandOf(band).first, end, &sum);
        });
    return sum.total();
}

StepVectors SplitEngine::vectors() const {
    return {estimate_.data(), direction_.data(), residual_.data(), image_.data()};
}

double SplitEngine::backProject(const Frame* frames, int count) {
    takeDeferred();
    for (Slot& slot : slots_) {
        slot.plan.frameCount = count;
        for (int k = 0; k < count; ++k) {
            SweepFrame& frame = slot.frames[static_cast<std::size_t>(k)];
            frame.horizontal = frames[k].horizontal;
            frame.vertical = frames[k].vertical;
            frame.mask = frames[k].mask;
            frame.samples = frames[k].samples;
        }
    }
    float* b = rightSide_.data();
    return sweepBands(
        b, b, [](int) {},
        [&](const SweepPlan& plan, SweepBand band, LaneSum* sum) {
            kernels_.backProject(plan, band, b, estimate_.data(), sum);
        });
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
    const float* alpha = takeDeferred().alpha;
    return sweepBands(
        residual_.data(), residual_.data(),
        [&](int row) {
            kernels_.updateRows(layout_, vectors(), {alpha, nullptr}, row - kSharedRows, row + kSharedRows);
            kernels_.freezeRow(layout_, estimate_.data(), linkParameters_, links(), row - 1);
        },
        [&](const SweepPlan& plan, SweepBand band, LaneSum* sum) {
            kernels_.startResidual(plan, band, links(), linkParameters_, vectors(), rightSide_.data(), alpha,
                                   sum);
        });
}

double SplitEngine::applyToDirection() {
    const DeferredUpdates deferred = takeDeferred();
    return sweepBands(
        direction_.data(), image_.data(),
        [&](int row) {
            kernels_.updateRows(layout_, vectors(), deferred, row - kSharedRows, row + kSharedRows);
        },
        [&](const SweepPlan& plan, SweepBand band, LaneSum* sum) {
            kernels_.applyOperator(plan, band, links(), vectors(), deferred, sum);
        });
}

double SplitEngine::step(float alpha) {
    completeEstimate();
    alpha_ = alpha;
    estimateIsDue_ = true;
    LaneSum sum;
    if (bands_ == 1) {
        kernels_.reduceResidual(layout_, vectors(), alpha, 0, layout_.rows(), &sum);
        return sum.total();
    }
    const float* r = residual_.data();
    const auto rowsOf = [&](int band) { return Threads::bandOf(band, bands_, layout_.rows()); };
    threads_.inOrder(
        bands_,
        [&](int band, int) {
            kernels_.reduceResidual(layout_, vectors(), alpha, rowsOf(band).first, rowsOf(band).end, nullptr);
        },
        [&](int band) { kernels_.addProducts(layout_, r, r, rowsOf(band).first, rowsOf(band).end, &sum); });
    return sum.total();
}

void SplitEngine::updateDirection(float beta) {
    beta_ = beta;
    directionIsDue_ = true;
}

void SplitEngine::completeEstimate() {
    if (estimateIsDue_) {
        threads_.forRows(layout_.rows(), [&](int first, int end, int) {
            kernels_.updateRows(layout_, vectors(), {&alpha_, nullptr}, first, end);
        });
    }
    estimateIsDue_ = false;
}

void SplitEngine::crop(int offset, int width, int height, float deviation, float mean, float* out) {
    completeEstimate();
    threads_.forRows(height, [&](int first, int end, int) {
        for (int r = first; r < end; ++r) {
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
    });
}

}  // namespace oravo::vision::detail
