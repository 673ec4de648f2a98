#include "vision/superresolution/detail/memory/MemoryBudget.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {
namespace {

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

std::uint64_t limitOfControlGroup(const std::string& root) {
    for (const char* file : {"/memory.max", "/memory/memory.limit_in_bytes"}) {
        std::uint64_t bytes = 0;
        if (std::ifstream(root + file) >> bytes) return bytes;  // "max" is no number
    }
    return kUnlimited;
}

}  // namespace

std::uint64_t memoryBudget(const std::string& controlGroups) {
    return std::min(withinReach(), limitOfControlGroup(controlGroups)) / 4 * 3;
}

void promiseMemory(std::size_t bytes) {
    // Looking may fail for lack of memory too, so nothing is counted before.
    const bool looks = bytes >= kLarge;
    const std::uint64_t budget = looks ? memoryBudget() : kUnlimited;
    const std::uint64_t before = promised.fetch_add(bytes);
    if (!looks) return;
    if (before <= budget && bytes <= budget - before) return;
    giveBackMemory(bytes);
    raise(ErrorKind::outOfMemory,
          "Not enough memory for " + std::to_string(bytes) + " bytes beside " + std::to_string(before) +
              " in use, " + std::to_string(budget) + " are within reach.",
          {"vision/superresolution/detail/memory/MemoryBudget", __LINE__,
           "oravo::vision::detail::promiseMemory"});
}

void giveBackMemory(std::size_t bytes) noexcept {
    promised -= bytes;
}

}  // namespace oravo::vision::detail
