#include "vision/superresolution/detail/memory/ZeroedMemory.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include "vision/superresolution/detail/memory/ReservedMemory.h"

#ifdef __linux__
#include <sys/mman.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
#define ORAVO_EXACT_MEMORY
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORAVO_EXACT_MEMORY
#endif
#endif

namespace oravo::vision::detail {
namespace {

constexpr std::size_t kAlignment = 64;

void* alignedUp(void* memory, std::size_t alignment) {
    const auto address = reinterpret_cast<std::uintptr_t>(memory);
    return static_cast<char*>(memory) + (alignment - address % alignment) % alignment;
}

// The allocation of the handle itself may fail as well; the memory is then freed as by any last handle.
std::shared_ptr<void> fromHeap(std::size_t bytes) {
    void* memory = std::calloc(bytes + kAlignment, 1);
    if (memory == nullptr) {
        releaseMemory(bytes);
        throw std::bad_alloc();
    }
    return std::shared_ptr<void>(alignedUp(memory, kAlignment), [memory, bytes](void*) {
        std::free(memory);
        releaseMemory(bytes);
    });
}

#ifdef __linux__
constexpr std::size_t kHugePage = std::size_t{2} << 20;

std::shared_ptr<void> fromSystem(std::size_t bytes) {
    const std::size_t mapped = bytes + kHugePage;
    void* memory = mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        releaseMemory(bytes);
        throw std::bad_alloc();
    }
    void* aligned = alignedUp(memory, kHugePage);
    madvise(aligned, bytes, MADV_HUGEPAGE);  // a wish; without it pages are small
    return std::shared_ptr<void>(aligned, [memory, mapped, bytes](void*) {
        munmap(memory, mapped);
        releaseMemory(bytes);
    });
}
#endif

#ifdef ORAVO_EXACT_MEMORY
constexpr std::size_t kLargestExact = std::size_t{64} << 20;  // beyond, the sanitizer's own records take long

/// Memory that ends where it says, each block by itself: space for alignment would hide an access beyond the
/// end, and memory from outside the allocator would hide a leak.
std::shared_ptr<void> ofExactSize(std::size_t bytes) {
    void* memory = std::calloc(bytes, 1);
    if (memory == nullptr) {
        releaseMemory(bytes);
        throw std::bad_alloc();
    }
    return std::shared_ptr<void>(memory, [bytes](void* block) {
        std::free(block);
        releaseMemory(bytes);
    });
}
#endif

}  // namespace

std::shared_ptr<void> zeroedMemory(std::size_t bytes) {
    if (bytes > std::numeric_limits<std::size_t>::max() / 2) throw std::bad_alloc();
    reserveMemory(bytes);
#ifdef ORAVO_EXACT_MEMORY
    if (bytes < kLargestExact) return ofExactSize(bytes);
#endif
#ifdef __linux__
    if (bytes >= 2 * kHugePage) return fromSystem(bytes);
#endif
    return fromHeap(bytes);
}

}  // namespace oravo::vision::detail
