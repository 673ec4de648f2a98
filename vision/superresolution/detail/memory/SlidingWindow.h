#ifndef ORAVO_VISION_DETAIL_MEMORY_SLIDINGWINDOW_H
#define ORAVO_VISION_DETAIL_MEMORY_SLIDINGWINDOW_H

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace oravo::vision::detail {

/// The newest items of a stream in order of arrival, oldest first, in slots that are filled once and then
/// reused: when the window is full, the slot of the oldest item moves to the end and takes the new one. What
/// must rotate together (a frame and its spectrum, an image and its pyramid) is one Slot.
template <class Slot>
class SlidingWindow {
  public:
    SlidingWindow() = default;
    explicit SlidingWindow(std::vector<Slot> slots) : slots_(std::move(slots)) {}

    /// Opens the slot of the newest item, dropping the oldest item when the window is full.
    Slot& advance() {
        if (count_ < capacity()) {
            ++count_;
        } else {
            std::rotate(slots_.begin(), slots_.begin() + 1, slots_.end());
        }
        return slots_[static_cast<std::size_t>(count_) - 1];
    }

    /// Forgets the items; the slots keep their contents, and the next item goes into slot 0.
    void clear() { count_ = 0; }

    int count() const { return count_; }
    int capacity() const { return static_cast<int>(slots_.size()); }

    Slot& operator[](int i) { return slots_[static_cast<std::size_t>(i)]; }
    const Slot& operator[](int i) const { return slots_[static_cast<std::size_t>(i)]; }

  private:
    std::vector<Slot> slots_;
    int count_ = 0;
};

}  // namespace oravo::vision::detail

#endif
