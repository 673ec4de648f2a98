#include "capi/BurstTable.h"

#include <pthread.h>

#include <new>
#include <random>

namespace oravo::capi {
namespace {

std::unique_ptr<BurstEngine> makeEngine(const BurstSettings& settings, BurstCallbacks& callbacks) {
    return settings.kind == vision::detail::PipelineKind::precise ? makePreciseEngine(settings, callbacks)
                                                                  : makeWindowEngine(settings, callbacks);
}

/// Where handles begin to count, so that numbers of other processes and libraries are hardly ever among them.
std::uint64_t randomStart() {
    try {
        std::random_device device;
        return (static_cast<std::uint64_t>(device()) << 32) ^ device();
    } catch (...) {
        static const char place = 0;
        return reinterpret_cast<std::uintptr_t>(&place);  // load addresses are random, too
    }
}

/// A different number for each number (the finalizer of SplitMix64, which can be undone step by step).
std::uint64_t scattered(std::uint64_t number) {
    number = (number ^ (number >> 30)) * 0xBF58476D1CE4E5B9ull;
    number = (number ^ (number >> 27)) * 0x94D049BB133111EBull;
    return number ^ (number >> 31);
}

}  // namespace

Burst::Burst(const BurstSettings& settled)
    : settings(settled),
      callbacks(settled.options),
      frames(settled.size, settled.options.frames),
      engine(makeEngine(settings, callbacks)) {
    if (settings.marksValuesOutside) frames.markOutside(settings.options.lowest, settings.options.highest);
}

int Burst::fail(int status, const char* words) noexcept {
    const std::lock_guard<std::mutex> guard(errorMutex_);
    return error_.set(status, words);
}

BurstError Burst::latestError() noexcept {
    const std::lock_guard<std::mutex> guard(errorMutex_);
    return error_;
}

const std::vector<cv::Mat_<unsigned char>>& Burst::masks() {
    if (resultMasks.empty()) resultMasks = engine->masks();
    return resultMasks;
}

BurstTable& BurstTable::instance() {
    alignas(BurstTable) static unsigned char place[sizeof(BurstTable)];
    static BurstTable* const table = [] {
        auto* made = new (place) BurstTable();
        // A child must find the table between two calls, and its lock free.
        pthread_atfork([] { instance().mutex_.lock(); }, [] { instance().mutex_.unlock(); },
                       [] { instance().mutex_.unlock(); });
        return made;
    }();
    return *table;
}

BurstTable::BurstTable() : latest_(randomStart()) {
}

std::uint64_t BurstTable::add(std::shared_ptr<Burst> burst) {
    const std::lock_guard<std::mutex> guard(mutex_);
    std::uint64_t handle = scattered(++latest_);
    if (handle == 0) handle = scattered(++latest_);
    bursts_.emplace(handle, std::move(burst));
    return handle;
}

std::shared_ptr<Burst> BurstTable::find(std::uint64_t handle) const {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = bursts_.find(handle);
    return found == bursts_.end() ? nullptr : found->second;
}

std::shared_ptr<Burst> BurstTable::remove(std::uint64_t handle) {
    const std::lock_guard<std::mutex> guard(mutex_);
    const auto found = bursts_.find(handle);
    if (found == bursts_.end()) return nullptr;
    std::shared_ptr<Burst> burst = std::move(found->second);
    bursts_.erase(found);
    return burst;
}

}  // namespace oravo::capi
