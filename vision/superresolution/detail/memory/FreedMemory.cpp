#include "vision/superresolution/detail/memory/FreedMemory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace oravo::vision::detail {
namespace {

void teachAllocator(std::size_t bytes) {
    // The allocator learns from blocks of up to 32 MB, and keeps twice as much.
    constexpr std::size_t kMost = (std::size_t{32} << 20) - (std::size_t{64} << 10);
    void* volatile block =
        std::malloc(std::min(bytes / 2, kMost));  // volatile: or the pair is optimised away
    if (block == nullptr) throw std::bad_alloc();
    std::free(block);
}

void giveBackToSystem(void*) {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace

FreedMemory::FreedMemory(std::size_t bytes) {
    teachAllocator(bytes);
    kept_ = std::shared_ptr<void>(nullptr, giveBackToSystem);
}

}  // namespace oravo::vision::detail
