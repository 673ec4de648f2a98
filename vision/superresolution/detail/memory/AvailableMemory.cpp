#include "vision/superresolution/detail/memory/AvailableMemory.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <limits>

namespace oravo::vision::detail {
namespace {

constexpr std::uint64_t kUnlimited = std::numeric_limits<std::uint64_t>::max();

/// What the process holds and the machine could still give it.
std::uint64_t memoryOfMachine() {
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
        if (std::ifstream(root + file) >> bytes) return bytes;  // "max" is not a number
    }
    return kUnlimited;
}

}  // namespace

std::uint64_t availableMemory(const std::string& controlGroups) {
    return std::min(memoryOfMachine(), limitOfControlGroup(controlGroups)) / 4 * 3;
}

}  // namespace oravo::vision::detail
