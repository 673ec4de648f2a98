#include "vision/superresolution/detail/Buffer.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <string>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {
namespace {

// Systems promise more memory than they have and end the process that takes them at their word, long after its
// set-up has succeeded. So what Buffers are promised is counted, and set-up fails while it can still be told.

constexpr std::size_t kAlignment = 64;
constexpr std::size_t kLarge = std::size_t{16} << 20;  // below, looking costs more than it is worth
constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

std::atomic<std::uint64_t> promised{0};

/// What the process holds and the machine could still give it.
std::uint64_t withinReach() {
    std::uint64_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages >> pages;  // the second number is what is resident
    std::ifstream meminfo("/proc/meminfo");
    for (std::string name; meminfo >> name;
         meminfo.ignore(std::numeric_limits<std::streamsize>::max(), '\n')) {
        std::uint64_t kibibytes = 0;
        if (name == "MemAvailable:" && meminfo >> kibibytes) {
            return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE)) + 1024 * kibibytes;
        }
    }
    return kUnlimited;
}

std::uint64_t limitOfControlGroup() {
    for (const char* file : {"/sys/fs/cgroup/memory.max", "/sys/fs/cgroup/memory/memory.limit_in_bytes"}) {
        std::uint64_t bytes = 0;
        if (std::ifstream(file) >> bytes) return bytes;  // "max" is no number
    }
    return kUnlimited;
}

/// Counts an allocation to come. Throws, and counts nothing, when it is a large one and all Buffers together would
/// then exceed three quarters of what is within reach; the last quarter is for what OpenCV allocates beside.
void promise(std::size_t bytes) {
    const std::uint64_t before = promised.fetch_add(bytes);
    if (bytes < kLarge) return;
    const std::uint64_t budget = std::min(withinReach(), limitOfControlGroup()) / 4 * 3;
    if (before <= budget && bytes <= budget - before) return;
    promised -= bytes;
    raise("Not enough memory for " + std::to_string(bytes) + " bytes beside " + std::to_string(before) +
              " in use, " + std::to_string(budget) + " are within reach.",
          {"vision/superresolution/detail/Buffer", __LINE__, "oravo::vision::detail::zeroedMemory"});
}

}  // namespace

std::shared_ptr<void> zeroedMemory(std::size_t bytes) {
    const std::size_t total = bytes + kAlignment;
    if (total < bytes) throw std::bad_alloc();
    promise(total);
    void* memory = std::calloc(total, 1);
    if (memory == nullptr) {
        promised -= total;
        throw std::bad_alloc();
    }
    const auto address = reinterpret_cast<std::uintptr_t>(memory);
    void* aligned = static_cast<char*>(memory) + (kAlignment - address % kAlignment) % kAlignment;
    return std::shared_ptr<void>(aligned, [memory, total](void*) {
        std::free(memory);
        promised -= total;
    });
}

}  // namespace oravo::vision::detail
