#ifndef ORAVO_VISION_DETAIL_MEMORY_IMAGESTACK_H
#define ORAVO_VISION_DETAIL_MEMORY_IMAGESTACK_H

#include <cstddef>
#include <vector>

#include "vision/superresolution/detail/memory/Buffer.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::vision::detail {

/// Buffers for `count` images of one size.
template <class T>
std::vector<Buffer<T>> makeImages(int count, FrameSize size) {
    std::vector<Buffer<T>> images;
    images.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) images.emplace_back(size.elements());
    return images;
}

/// Images of one size that are passed as an array of pointers.
template <class T>
class ImageStack {
  public:
    ImageStack(int count, FrameSize size) : images_(makeImages<T>(count, size)) {
        for (const Buffer<T>& image : images_) pointers_.push_back(image.data());
    }

    /// One pointer per image.
    T** data() { return pointers_.data(); }
    const T* const* data() const { return pointers_.data(); }

  private:
    std::vector<Buffer<T>> images_;
    std::vector<T*> pointers_;
};

}  // namespace oravo::vision::detail

#endif
