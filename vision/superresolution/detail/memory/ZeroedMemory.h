#ifndef ORAVO_VISION_DETAIL_MEMORY_ZEROEDMEMORY_H
#define ORAVO_VISION_DETAIL_MEMORY_ZEROEDMEMORY_H

#include <cstddef>
#include <memory>

namespace oravo::vision::detail {

/// `bytes` of zeroed memory, aligned for vector loads, freed with the last handle. Throws what reserveMemory throws, or
/// std::bad_alloc.
///
/// The solver reads many images at the same time, and each of these reads enters another page after a few rows.
/// Large blocks therefore request huge pages, which save most address translations; without them only time is
/// lost. Pages come zeroed from the system and stay untouched until they are used. Under the address sanitizer,
/// blocks below 64 MB come from the allocator, with their exact size and its alignment.
std::shared_ptr<void> zeroedMemory(std::size_t bytes);

}  // namespace oravo::vision::detail

#endif
