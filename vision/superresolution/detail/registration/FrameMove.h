#ifndef ORAVO_VISION_DETAIL_REGISTRATION_FRAMEMOVE_H
#define ORAVO_VISION_DETAIL_REGISTRATION_FRAMEMOVE_H

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/numerics/Threads.h"

namespace oravo::vision::detail {

/// The number of slots itself; throws an Exception that names it when it is below 1.
inline int checkedFrameCount(int frameCount, const CodeLocation& where) {
    if (frameCount < 1)
        raise(ErrorKind::badArgument,
              "Invalid number of frames " + std::to_string(frameCount) + " specified.", where);
    return frameCount;
}

/// Throws when a run asks for frames that have not been prepared, or for a reference that is not among them.
inline void checkPrepared(int numFrames, int refIndex, int preparedCount, const CodeLocation& where) {
    if (numFrames <= preparedCount && refIndex >= 0 && refIndex < numFrames) return;
    raise(ErrorKind::notReady,
          "Registration of " + std::to_string(numFrames) + " frames against frame " +
              std::to_string(refIndex) + " requested, but " + std::to_string(preparedCount) +
              " frames are prepared.",
          where);
}

/// The nearest whole pixel, halves upward. For values that no int holds, NaN among them, the result lies
/// outside every frame.
inline int roundToWhole(float shift) {
    constexpr double kExtreme = 1 << 30;
    const double rounded = std::floor(static_cast<double>(shift + 0.5f));
    if (!(std::abs(rounded) < kExtreme)) return 1 << 30;
    return static_cast<int>(rounded);
}

/// The part of the reference grid that a frame displaced by whole pixels (dx, dy) covers: reference pixel p
/// in it sees frame pixel p + (dx, dy). Empty (0 x 0) when the two do not meet.
struct Overlap {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    Overlap(FrameSize size, int dx, int dy) {
        if (std::abs(dx) >= size.width || std::abs(dy) >= size.height) return;
        x = std::max(-dx, 0);
        y = std::max(-dy, 0);
        width = size.width - std::abs(dx);
        height = size.height - std::abs(dy);
    }
    bool empty() const { return width == 0; }
};

/// Moves a frame by the whole-pixel part of its shift and leaves the remainder, in [-0.5, 0.5), in the shift:
/// target(x, y) = source(x + ix, y + iy).
///
/// The move is one copy along the flat array: for ix != 0 the columns at one side of each row hold pixels of
/// the neighbouring row, and only the array's very start or end is filled with zeros. The validity masks
/// leave those columns out.
template <class Point>
void shiftFrame(FrameSize size, const float* source, Point& shift, float* target) {
    const int ix = roundToWhole(shift.x);
    const int iy = roundToWhole(shift.y);
    const long long count = size.pixelCount();
    const long long offset = std::clamp(static_cast<long long>(size.width) * iy + ix, -count, count);
    const long long before = std::max(-offset, 0LL);
    const long long copied = count - std::abs(offset);
    std::fill_n(target, before, 0.0f);
    std::copy_n(source + std::max(offset, 0LL), copied, target + before);
    std::fill_n(target + before + copied, count - before - copied, 0.0f);
    shift.x -= static_cast<float>(ix);
    shift.y -= static_cast<float>(iy);
}

/// Which frames are copied unmoved when a frame is refused: the float families copy all frames before they move
/// any; the reference family takes one frame after the other, so that those after the refused one stay
/// untouched.
enum class Unmoved { refusedOnly, refusedAndLater };

/// What every registration does with its estimates: notes the complete shifts, refuses a frame displaced by
/// half the frame height or more on either axis (a NaN is refused too), and moves each frame onto the
/// reference grid. Throws the "Too large displacement" of the registration at `where`; frames before the
/// offending one have then been moved, the `unmoved` ones copied, and completeShifts holds the values up to and
/// including it.
template <class Point>
void moveToReferenceGrid(FrameSize size, int numFrames, const float* const* frames, Point* shifts,
                         float* const* shiftedFrames, std::vector<Point>& completeShifts, Unmoved unmoved,
                         const CodeLocation& where, const Threads& threads = Threads()) {
    const auto n = static_cast<std::size_t>(numFrames);
    if (completeShifts.size() < n) completeShifts.resize(n);
    const int half = size.height / 2;
    const auto limit = static_cast<float>(half);
    const auto within = [limit](float component) { return -limit < component && component < limit; };
    std::size_t moved = 0;
    for (; moved < n; ++moved) {
        completeShifts[moved] = shifts[moved];
        if (!within(shifts[moved].x) || !within(shifts[moved].y)) break;
    }
    threads.forEach(static_cast<int>(moved),
                    [&](int i, int) { shiftFrame(size, frames[i], shifts[i], shiftedFrames[i]); });
    if (moved == n) return;
    const std::size_t end = unmoved == Unmoved::refusedOnly ? moved + 1 : n;
    for (std::size_t i = moved; i < end; ++i) std::copy_n(frames[i], size.pixelCount(), shiftedFrames[i]);
    raise(ErrorKind::tooLargeDisplacement, "Too large displacement", where);
}

}  // namespace oravo::vision::detail

#endif
