#ifndef ORAVO_CAPI_BURSTTABLE_H
#define ORAVO_CAPI_BURSTTABLE_H

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

#include "capi/BurstEngine.h"
#include "capi/BurstError.h"
#include "capi/BurstFrames.h"

namespace oravo::capi {

/// The state of an oravo_burst.
struct Burst {
    explicit Burst(const BurstSettings& settled);

    int fail(int status, const char* words) noexcept;
    int fail(const BurstError& failure) noexcept { return fail(failure.code, failure.text); }
    BurstError latestError() noexcept;

    /// The masks of the result, which few hosts ask for.
    const std::vector<cv::Mat_<unsigned char>>& masks();

    const BurstSettings settings;
    BurstCallbacks callbacks;
    BurstFrames frames;
    std::unique_ptr<BurstEngine> engine;
    BurstResult result;  ///< keeps its memory while it is not valid
    bool hasResult = false;
    std::vector<cv::Mat_<unsigned char>> resultMasks;

    std::atomic<bool> busy{false};     ///< a call is under way
    std::atomic<bool> running{false};  ///< a reconstruction is

  private:
    std::mutex errorMutex_;
    BurstError error_;
};

/// The bursts of the process by their handles. A burst in use lives until the call ends, even if it is destroyed
/// meanwhile.
class BurstTable {
  public:
    /// The one of the process, which is never destroyed: hosts may close bursts in destructors of their globals and in
    /// atexit handlers.
    static BurstTable& instance();

    BurstTable();

    std::uint64_t add(std::shared_ptr<Burst> burst);
    std::shared_ptr<Burst> find(std::uint64_t handle) const;
    /// Null when there is none.
    std::shared_ptr<Burst> remove(std::uint64_t handle);

  private:
    mutable std::mutex mutex_;
    std::map<std::uint64_t, std::shared_ptr<Burst>> bursts_;
    std::uint64_t latest_;
};

}  // namespace oravo::capi

#endif
