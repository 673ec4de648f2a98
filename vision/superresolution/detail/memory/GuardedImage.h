#ifndef ORAVO_VISION_DETAIL_MEMORY_GUARDEDIMAGE_H
#define ORAVO_VISION_DETAIL_MEMORY_GUARDEDIMAGE_H

#include <cstddef>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::vision::detail {

/// A dense image between two runs of zeros, each more than a row long: a 3 x 3 neighbourhood may be read around
/// every pixel, and pixels before the first or after the last one add nothing to a sum.
class GuardedImage {
  public:
    explicit GuardedImage(FrameSize size)
        : guard_(guardOf(size.width)), memory_(size.elements() + 2 * guard_) {}

    float* data() const { return memory_.data() + guard_; }

  private:
    static constexpr std::size_t kLine = 16;  // floats; keeps the first pixel aligned

    static std::size_t guardOf(int width) {
        return (static_cast<std::size_t>(width) + 1 + kLine - 1) / kLine * kLine;
    }

    std::size_t guard_;
    Buffer<float> memory_;
};

}  // namespace oravo::vision::detail

#endif
