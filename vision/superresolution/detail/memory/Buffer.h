#ifndef ORAVO_VISION_DETAIL_MEMORY_BUFFER_H
#define ORAVO_VISION_DETAIL_MEMORY_BUFFER_H

#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

#include "vision/superresolution/detail/memory/ZeroedMemory.h"

namespace oravo::vision::detail {

/// A fixed-size array of plain values, zero at birth, aligned for vector loads, shared by its copies.
///
/// Copying a Buffer copies the handle: both refer to the same memory, which is freed with the last of them.
/// So a class that holds Buffers may be copied member by member and needs no destructor. Throws what zeroedMemory
/// throws.
template <class T>
class Buffer {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

  public:
    Buffer() = default;
    explicit Buffer(std::size_t size) : size_(size), data_(allocate(size)) {}

    T* data() const { return data_.get(); }
    std::size_t size() const { return size_; }
    T& operator[](std::size_t i) const { return data_.get()[i]; }
    T* begin() const { return data_.get(); }
    T* end() const { return data_.get() + size_; }

  private:
    static std::shared_ptr<T> allocate(std::size_t size) {
        if (size > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
        const std::shared_ptr<void> memory = zeroedMemory(size * sizeof(T));
        return std::shared_ptr<T>(memory, static_cast<T*>(memory.get()));
    }

    std::size_t size_ = 0;
    std::shared_ptr<T> data_;
};

}  // namespace oravo::vision::detail

#endif
