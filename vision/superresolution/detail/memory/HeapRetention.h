#ifndef ORAVO_VISION_DETAIL_MEMORY_HEAPRETENTION_H
#define ORAVO_VISION_DETAIL_MEMORY_HEAPRETENTION_H

#include <cstddef>
#include <memory>

namespace oravo::vision::detail {

/// Lets the heap keep freed blocks of `bytes` in all, rather than return them to the system and request them
/// again, page by page, for every frame: temporary images of OpenCV take some megabytes each, and at 640 x 480
/// a third of a registration's time went into their pages.
///
/// It allocates one block of half that size and frees it untouched, from which the GNU allocator learns (the
/// dynamic threshold of M_MMAP_THRESHOLD in mallopt(3)) that such blocks come and go. Thresholds that a host
/// has set by mallopt or by environment stay; other allocators take no notice. Throws std::bad_alloc where even
/// half of `bytes` is not available: the later work would fail for it.
///
/// The kept memory returns to the system with the last copy of the object. Its owner has to hold it longer than
/// what lies on the heap: memory of images that outlive it would otherwise never return.
class HeapRetention {
  public:
    explicit HeapRetention(std::size_t bytes);

  private:
    std::shared_ptr<void> owner_;
};

}  // namespace oravo::vision::detail

#endif
