#ifndef ORAVO_VISION_DETAIL_MEMORY_MEMORYBUDGET_H
#define ORAVO_VISION_DETAIL_MEMORY_MEMORYBUDGET_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace oravo::vision::detail {

// Systems promise more memory than they have and end the process that takes them at their word, long after its set-up
// has succeeded. So what Buffers are promised is counted, and set-up fails while it can still be told.

/// Three quarters of what this process holds and could still get: of the machine's available memory, or the limit of a
/// container's control group, whichever is less. The last quarter is for what OpenCV allocates beside.
/// @param controlGroups  folder of the group's files, of either version
std::uint64_t memoryBudget(const std::string& controlGroups = "/sys/fs/cgroup");

/// Counts an allocation to come. Throws oravo::Exception, and counts nothing, when it is a large one and all Buffers
/// together would then exceed the budget.
void promiseMemory(std::size_t bytes);

/// Takes back what was counted.
void giveBackMemory(std::size_t bytes) noexcept;

}  // namespace oravo::vision::detail

#endif
