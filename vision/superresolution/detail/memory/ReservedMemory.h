#ifndef ORAVO_VISION_DETAIL_MEMORY_RESERVEDMEMORY_H
#define ORAVO_VISION_DETAIL_MEMORY_RESERVEDMEMORY_H

#include <cstddef>

namespace oravo::vision::detail {

// Linux overcommits memory and kills a process that uses what it was granted, long after set-up has succeeded. So the
// process counts what its Buffers have reserved, and set-up fails while the failure can still be reported.

/// Counts an allocation to come. Throws oravo::Exception of kind outOfMemory, and counts nothing, when it is a large one
/// and all reservations together would then exceed availableMemory().
void reserveMemory(std::size_t bytes);

/// Takes back what was counted.
void releaseMemory(std::size_t bytes) noexcept;

/// Throws what reserveMemory would throw for so many bytes, and counts nothing.
void requireMemory(std::size_t bytes);

}  // namespace oravo::vision::detail

#endif
