#include "vision/superresolution/detail/memory/HeapRetention.h"

#include <algorithm>
#include <cstdlib>
#include <new>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace oravo::vision::detail {
namespace {

void showBlock(std::size_t bytes) {
    // The allocator learns from blocks of up to 32 MB, and keeps twice as much.
    constexpr std::size_t kMost = (std::size_t{32} << 20) - (std::size_t{64} << 10);
    void* volatile block =
        std::malloc(std::min(bytes / 2, kMost));  // volatile: or the pair is optimised away
    if (block == nullptr) throw std::bad_alloc();
    std::free(block);
}

void returnFreePages(void*) {
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}  // namespace

HeapRetention::HeapRetention(std::size_t bytes) {
    showBlock(bytes);
    owner_ = std::shared_ptr<void>(nullptr, returnFreePages);
}

}  // namespace oravo::vision::detail
