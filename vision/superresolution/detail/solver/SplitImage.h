#ifndef ORAVO_VISION_DETAIL_SOLVER_SPLITIMAGE_H
#define ORAVO_VISION_DETAIL_SOLVER_SPLITIMAGE_H

#include <algorithm>
#include <cstddef>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::vision::detail {

/// Where the pixels of an extended image at factor 2 lie when its columns are split: per row first the even
/// columns, then the odd ones. A step of two columns is then a step of one element, and every loop of the
/// solver runs over contiguous memory.
///
///   row y:  [ even columns, lowWidth + 3 | zeros | odd columns, lowWidth + 2 | zeros ]
///
/// Both halves have the same length, a multiple of kBlock with at least one zero after the columns, and loops
/// run over whole halves. Loops over whole blocks of low-resolution pixels read two columns beyond the last, which stay
/// within the row: the next one may be another thread's. A row of zeros lies above and below the image, so that the eight
/// neighbours of every pixel can be read.
struct SplitLayout {
    static constexpr int kBlock = 16;  ///< floats; the widest vector of any machine

    int lowWidth = 0;
    int lowHeight = 0;
    std::ptrdiff_t pitch = 0;  ///< of low-resolution rows, lowWidth rounded up to blocks
    std::ptrdiff_t half = 0;   ///< length of half a row; where the odd columns begin
    std::ptrdiff_t stride = 0;

    SplitLayout() = default;
    explicit SplitLayout(FrameSize low)
        : lowWidth(low.width),
          lowHeight(low.height),
          pitch(blocks(lowWidth)),
          half(blocks(std::max(evenColumns() + 1, static_cast<int>(pitch) + 2))),
          stride(2 * half) {}

    [[gnu::always_inline]] int evenColumns() const { return lowWidth + 3; }
    [[gnu::always_inline]] int oddColumns() const { return lowWidth + 2; }
    [[gnu::always_inline]] int rows() const { return 2 * lowHeight + 5; }

  private:
    static std::ptrdiff_t blocks(int n) { return (n + kBlock - 1) / kBlock * kBlock; }
};

/// A split image in memory.
class SplitImage {
  public:
    explicit SplitImage(const SplitLayout& layout)
        : stride_(layout.stride),
          memory_(static_cast<std::size_t>(layout.stride) * (static_cast<std::size_t>(layout.rows()) + 2)) {}

    /// Row 0; rows -1 and rows() are zeros.
    float* data() const { return memory_.data() + stride_; }

  private:
    std::ptrdiff_t stride_;
    Buffer<float> memory_;
};

}  // namespace oravo::vision::detail

#endif
