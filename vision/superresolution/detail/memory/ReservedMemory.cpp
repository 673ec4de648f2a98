#include "vision/superresolution/detail/memory/ReservedMemory.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <string>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/memory/AvailableMemory.h"

namespace oravo::vision::detail {
namespace {

constexpr std::size_t kLarge = std::size_t{16} << 20;  // smaller ones are not worth the time of a check

std::atomic<std::uint64_t> reserved{0};

}  // namespace

void reserveMemory(std::size_t bytes) {
    // The check itself may fail for lack of memory, so it comes before the count.
    const bool isChecked = bytes >= kLarge;
    const std::uint64_t available = isChecked ? availableMemory() : std::numeric_limits<std::uint64_t>::max();
    const std::uint64_t before = reserved.fetch_add(bytes);
    if (!isChecked) return;
    if (before <= available && bytes <= available - before) return;
    releaseMemory(bytes);
    raise(ErrorKind::outOfMemory,
          "Not enough memory for " + std::to_string(bytes) + " bytes beside " + std::to_string(before) +
              " in use, " + std::to_string(available) + " are within reach.",
          {"vision/superresolution/detail/memory/ReservedMemory", __LINE__,
           "oravo::vision::detail::reserveMemory"});
}

void releaseMemory(std::size_t bytes) noexcept {
    reserved -= bytes;
}

void requireMemory(std::size_t bytes) {
    reserveMemory(bytes);
    releaseMemory(bytes);
}

}  // namespace oravo::vision::detail
