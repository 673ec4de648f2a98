#ifndef ORAVO_VISION_DETAIL_MEMORY_AVAILABLEMEMORY_H
#define ORAVO_VISION_DETAIL_MEMORY_AVAILABLEMEMORY_H

#include <cstdint>
#include <string>

namespace oravo::vision::detail {

/// Bytes that this process may use: three quarters of what it holds and could still get, from the machine's available
/// memory or under the limit of a container's control group, whichever is less. The last quarter is left for what OpenCV
/// allocates. Read anew by every call.
/// @param controlGroups  folder of the group's files, of either version
std::uint64_t availableMemory(const std::string& controlGroups = "/sys/fs/cgroup");

}  // namespace oravo::vision::detail

#endif
