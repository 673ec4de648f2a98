#ifndef ORAVO_VISION_DETAIL_MEMORY_ZEROEDMEMORY_H
#define ORAVO_VISION_DETAIL_MEMORY_ZEROEDMEMORY_H

#include <cstddef>
#include <memory>

namespace oravo::vision::detail {

/// `bytes` of zeroed memory, aligned for vector loads, freed with the last handle. Throws what reserveMemory throws, or
/// std::bad_alloc.
///
/// The solver walks through many images side by side, each walk crossing into another page after a few rows. Large
/// blocks therefore ask the system for huge pages, which spares it most address translations; where it has none to
/// give, nothing but time is lost. Pages come zeroed from the system and stay untouched until they are used. Under the
/// address sanitizer blocks below 64 MB are the allocator's own, of their exact size and its alignment.
std::shared_ptr<void> zeroedMemory(std::size_t bytes);

}  // namespace oravo::vision::detail

#endif
