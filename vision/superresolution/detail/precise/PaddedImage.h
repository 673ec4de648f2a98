#ifndef ORAVO_VISION_DETAIL_PRECISE_PADDEDIMAGE_H
#define ORAVO_VISION_DETAIL_PRECISE_PADDEDIMAGE_H

#include <cstddef>
#include <cstring>

#include "vision/superresolution/detail/memory/Buffer.h"

namespace oravo::vision::detail::precise {

/// Index i of a sequence of n values that is continued by mirroring it at its ends, each end value standing twice.
inline int mirrored(int i, int n) {
    while (i < 0 || i >= n) i = i < 0 ? -1 - i : 2 * n - 1 - i;
    return i;
}

/// An image whose rows have room for kPad more values on each side, which mirrorRow() and mirrorPads() fill. Copies share memory.
class PaddedImage {
  public:
    static constexpr int kPad = 8;

    PaddedImage() = default;
    PaddedImage(int columns, int rows)
        : columns_(columns),
          rows_(rows),
          stride_((columns + 2 * kPad + 15) / 16 * 16),
          data_(static_cast<std::size_t>(stride_) * static_cast<std::size_t>(rows)) {}

    int columns() const { return columns_; }
    int rows() const { return rows_; }
    float* row(int y) const { return data_.data() + stride_ * y + kPad; }

    void mirrorRow(int y) const {
        float* values = row(y);
        for (int i = 1; i <= kPad; ++i) {
            values[-i] = values[mirrored(-i, columns_)];
            values[columns_ - 1 + i] = values[mirrored(columns_ - 1 + i, columns_)];
        }
    }
    void mirrorPads() const {
        for (int y = 0; y < rows_; ++y) mirrorRow(y);
    }
    void copyFrom(const PaddedImage& other) const {
        std::memcpy(data_.data(), other.data_.data(), data_.size() * sizeof(float));
    }
    void clear() const { std::memset(data_.data(), 0, data_.size() * sizeof(float)); }

  private:
    int columns_ = 0, rows_ = 0;
    std::ptrdiff_t stride_ = 0;
    Buffer<float> data_;
};

}  // namespace oravo::vision::detail::precise

#endif
