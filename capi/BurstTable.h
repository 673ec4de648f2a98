#ifndef ORAVO_CAPI_BURSTTABLE_H
#define ORAVO_CAPI_BURSTTABLE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "vision/superresolution/SrPrecise.h"

namespace oravo::capi {

/// The state of an oravo_burst.
struct Burst {
    explicit Burst(const vision::SrPrecise& ready) : engine(ready) {}

    vision::SrPrecise engine;
    std::vector<cv::Mat_<float>> frames;
    std::optional<vision::SrPreciseResult> result;
    std::string error;
};

/// The bursts of the process by their handles, which are never reused. A burst in use lives until the call
/// ends, even if it is destroyed meanwhile.
class BurstTable {
  public:
    std::uint64_t add(std::shared_ptr<Burst> burst) {
        const std::lock_guard<std::mutex> guard(mutex_);
        bursts_.emplace(++latest_, std::move(burst));
        return latest_;
    }
    std::shared_ptr<Burst> find(std::uint64_t handle) const {
        const std::lock_guard<std::mutex> guard(mutex_);
        const auto found = bursts_.find(handle);
        return found == bursts_.end() ? nullptr : found->second;
    }
    bool remove(std::uint64_t handle) {
        const std::lock_guard<std::mutex> guard(mutex_);
        return bursts_.erase(handle) != 0;
    }

  private:
    mutable std::mutex mutex_;
    std::map<std::uint64_t, std::shared_ptr<Burst>> bursts_;
    std::uint64_t latest_ = 0;
};

}  // namespace oravo::capi

#endif
