#include "tests/Allocator.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>

extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);
}

namespace oravo::test::allocator {
namespace {

std::atomic<Hook> armed{nullptr};
std::atomic<long> live{0};

bool granted() {
    const Hook hook = armed.exchange(nullptr);
    if (hook == nullptr) return true;
    const bool result = hook();
    armed = hook;
    return result;
}

long bytesOf(void* block) {
    return static_cast<long>(malloc_usable_size(block));
}

/// Counts the block that an allocation made, or sets errno as a failed one does.
template <class Allocation>
void* counted(Allocation allocation) {
    void* block = granted() ? allocation() : nullptr;
    if (block == nullptr) {
        errno = ENOMEM;
    } else {
        live += bytesOf(block);
    }
    return block;
}

}  // namespace

void arm(Hook hook) {
    armed = hook;
}
void disarm() {
    armed = nullptr;
}
long liveBytes() {
    return live;
}

}  // namespace oravo::test::allocator

using namespace oravo::test::allocator;

extern "C" {
void* malloc(std::size_t size) {
    return counted([=] { return __libc_malloc(size); });
}
void* calloc(std::size_t n, std::size_t size) {
    return counted([=] { return __libc_calloc(n, size); });
}
void* realloc(void* old, std::size_t size) {
    if (old == nullptr) return malloc(size);
    if (!granted()) return nullptr;
    const long before = bytesOf(old);
    void* block = __libc_realloc(old, size);
    if (block != nullptr || size == 0) live += bytesOf(block) - before;
    return block;
}
void* memalign(std::size_t alignment, std::size_t size) {
    return counted([=] { return __libc_memalign(alignment, size); });
}
int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
    *out = memalign(alignment, size);
    return *out == nullptr ? ENOMEM : 0;
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}
void free(void* block) {
    live -= bytesOf(block);
    __libc_free(block);
}
}
