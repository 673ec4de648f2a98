#ifndef ORAVO_VISION_DETAIL_MEMORY_FREEDMEMORY_H
#define ORAVO_VISION_DETAIL_MEMORY_FREEDMEMORY_H

#include <cstddef>
#include <memory>

namespace oravo::vision::detail {

/// Lets the heap keep what is freed in blocks that come to `bytes` together, rather than hand it back to the system and
/// ask for it again for every frame, page by page: temporary images of OpenCV are some megabytes each, and at 640 x 480
/// a third of a registration's time went into their pages.
///
/// It uses one block of half that size and frees it untouched, from which the GNU allocator learns (the dynamic
/// threshold of M_MMAP_THRESHOLD in mallopt(3)) that such blocks come and go. A host that has set the thresholds
/// by mallopt or by environment keeps its own; other allocators take no notice. Throws std::bad_alloc where even
/// half of `bytes` is not to be had: the work that is to come would fail for it.
///
/// What the heap keeps on this account goes back to the system with the last copy of the object, which its owner
/// therefore has to hold longer than what lies on the heap: images that outlive a threshold would otherwise stay there
/// as free memory for good.
class FreedMemory {
  public:
    explicit FreedMemory(std::size_t bytes);

  private:
    std::shared_ptr<void> kept_;
};

}  // namespace oravo::vision::detail

#endif
