#ifndef ORAVO_TOOLS_ENHANCE_FRAMENUMBERS_H
#define ORAVO_TOOLS_ENHANCE_FRAMENUMBERS_H

#include <cstddef>
#include <set>

namespace oravo::tools {

/// Numbers of frames about which something is known, without those of long ago, which no window reaches any more: a
/// stream has no end, and memory has.
class FrameNumbers {
  public:
    static constexpr std::size_t kRemembered = 4096;  ///< frames that are looked back to

    /// False where the number was there already.
    bool add(std::size_t number) {
        const bool added = numbers_.insert(number).second;
        if (number > kRemembered)
            numbers_.erase(numbers_.begin(), numbers_.lower_bound(number - kRemembered));
        return added;
    }
    bool hold(std::size_t number) const { return numbers_.count(number) != 0; }
    std::size_t size() const { return numbers_.size(); }

  private:
    std::set<std::size_t> numbers_;
};

}  // namespace oravo::tools

#endif
