#include "vision/superresolution/detail/FreedMemory.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace oravo::vision::detail {

void keepFreedMemory(std::size_t bytes) {
    // The allocator learns from blocks of up to 32 MB, and keeps twice as much.
    constexpr std::size_t kMost = (std::size_t{32} << 20) - (std::size_t{64} << 10);
    void* volatile block =
        std::malloc(std::min(bytes / 2, kMost));  // volatile: or the pair is optimised away
    if (block == nullptr) throw std::bad_alloc();
    std::free(block);
}

}  // namespace oravo::vision::detail
