#ifndef ORAVO_CAPI_BURSTCALLS_H
#define ORAVO_CAPI_BURSTCALLS_H

#include <string>

#include "capi/BurstTable.h"

/// What the functions of the C interface have in common.
namespace oravo::capi {

inline constexpr const char* kStale = "There is no such burst, or it was destroyed.";

/// The error of calls without a burst that could hold it.
BurstError& threadError();

/// Marks a burst as in use; converts to false when it is in use already.
class Occupation {
  public:
    explicit Occupation(std::atomic<bool>& mark) : mark_(mark), mine_(!mark.exchange(true)) {}
    Occupation(const Occupation&) = delete;
    Occupation& operator=(const Occupation&) = delete;
    ~Occupation() {
        if (mine_) mark_ = false;
    }
    explicit operator bool() const { return mine_; }

  private:
    std::atomic<bool>& mark_;
    bool mine_;
};

/// Runs work on a burst; a failure becomes the burst's error.
template <class Work>
int with(oravo_burst handle, Work work) noexcept {
    const std::shared_ptr<Burst> burst = BurstTable::instance().find(handle);
    if (!burst) return threadError().set(ORAVO_BURST_STALE, kStale);
    const Occupation mine(burst->busy);
    if (!mine) return burst->fail(ORAVO_BURST_BUSY, "Another call on this burst is under way.");
    try {
        return work(*burst);
    } catch (...) {
        return burst->fail(errorOfException());
    }
}

/// Runs work on a burst's result, and on an output that may not be null.
template <class Work>
int withResult(oravo_burst handle, const void* out, Work work) noexcept {
    return with(handle, [&](Burst& burst) {
        if (out == nullptr) return burst.fail(ORAVO_BURST_ARGUMENT, "The output is a null pointer.");
        if (!burst.hasResult)
            return burst.fail(ORAVO_BURST_NO_RESULT,
                              "Nothing was reconstructed since the last frame was added.");
        return work(burst, burst.result);
    });
}

inline int refuse(Burst& burst, const std::string& text) {
    return burst.fail(ORAVO_BURST_ARGUMENT, text.c_str());
}

inline const char* pipelineOf(const Burst& burst) {
    return vision::detail::traitsOf(burst.settings.kind).name;
}

}  // namespace oravo::capi

#endif
