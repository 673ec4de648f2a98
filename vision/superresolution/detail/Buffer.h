#ifndef ORAVO_VISION_DETAIL_BUFFER_H
#define ORAVO_VISION_DETAIL_BUFFER_H

#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

namespace oravo::vision::detail {

/// Memory of zeros on a boundary of 64 bytes, freed with the last copy of the pointer. Throws std::bad_alloc, or
/// oravo::Exception when all Buffers of the process would exceed what the machine has for it.
std::shared_ptr<void> zeroedMemory(std::size_t bytes);

/// A fixed-size array of plain values, zero at birth, aligned for vector loads, shared by its copies.
///
/// Copying a Buffer copies the handle: both refer to the same memory, which is freed with the last of them.
/// So a class that holds Buffers may be copied member by member and needs no destructor. Memory comes zeroed
/// from calloc, which leaves large pages untouched until they are used.
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
        return std::static_pointer_cast<T>(zeroedMemory(size * sizeof(T)));
    }

    std::size_t size_ = 0;
    std::shared_ptr<T> data_;
};

}  // namespace oravo::vision::detail

#endif
