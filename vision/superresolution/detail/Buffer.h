#ifndef ORAVO_VISION_DETAIL_BUFFER_H
#define ORAVO_VISION_DETAIL_BUFFER_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

#include "vision/superresolution/detail/MemoryBudget.h"

namespace oravo::vision::detail {

/// A fixed-size array of plain values, zero at birth, aligned for vector loads, shared by its copies.
///
/// Copying a Buffer copies the handle: both refer to the same memory, which is freed with the last of them.
/// So a class that holds Buffers may be copied member by member and needs no destructor. Memory comes zeroed
/// from calloc, which leaves large pages untouched until they are used. Throws what promiseMemory throws, or
/// std::bad_alloc.
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
    static constexpr std::size_t kAlignment = 64;

    static std::shared_ptr<T> allocate(std::size_t size) {
        if (size > (std::numeric_limits<std::size_t>::max() - kAlignment) / sizeof(T)) throw std::bad_alloc();
        const std::size_t bytes = size * sizeof(T) + kAlignment;
        promiseMemory(bytes);
        void* memory = std::calloc(bytes, 1);
        if (memory == nullptr) {
            giveBackMemory(bytes);
            throw std::bad_alloc();
        }
        const auto address = reinterpret_cast<std::uintptr_t>(memory);
        const std::size_t shift = (kAlignment - address % kAlignment) % kAlignment;
        T* aligned = reinterpret_cast<T*>(static_cast<char*>(memory) + shift);
        return std::shared_ptr<T>(aligned, [memory, bytes](T*) {
            std::free(memory);
            giveBackMemory(bytes);
        });
    }

    std::size_t size_ = 0;
    std::shared_ptr<T> data_;
};

}  // namespace oravo::vision::detail

#endif
