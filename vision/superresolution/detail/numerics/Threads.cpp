#include "vision/superresolution/detail/numerics/Threads.h"

#include <pthread.h>
#include <tbb/global_control.h>
#include <tbb/info.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_pipeline.h>
#include <tbb/task_arena.h>
#include <tbb/task_group.h>

#include <atomic>
#include <string>

#include "support/CodeLocation.h"

#ifdef ORAVO_THREAD_SANITIZER
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
#endif

namespace oravo::vision::detail {
namespace {

/// Tells ThreadSanitizer, which cannot see into oneTBB, that who takes has seen all that others did before they gave.
class Handover {
  public:
#ifdef ORAVO_THREAD_SANITIZER
    void give() {
        __tsan_release(this);
    }
    void take() {
        __tsan_acquire(this);
    }
#else
    void give() {
    }
    void take() {
    }
#endif
};

/// The parts of one piece of work: each comes after what their caller has done, and before what it does next, thrown or not.
class Parts {
  public:
    Parts() { begun_.give(); }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;
    ~Parts() { ended_.take(); }

    template <class Work>
    void doOne(const Work& work) {
        doAfter(begun_, work);
    }
    /// What comes after the parts that have ended.
    template <class Work>
    void doNext(const Work& work) {
        doAfter(ended_, work);
    }

  private:
    template <class Work>
    void doAfter(Handover& others, const Work& work) {
        others.take();
        const Ending ending{ended_};
        work();
    }
    struct Ending {
        ~Ending() { ended.give(); }
        Handover& ended;
    };

    Handover begun_, ended_;
};

/// Has all threads round and flush as the calling one does.
tbb::task_group_context sharedRounding() {
    return tbb::task_group_context(tbb::task_group_context::bound, tbb::task_group_context::default_traits |
                                                                       tbb::task_group_context::fp_settings);
}

std::atomic<bool> isForked{false};

/// Has isForked tell, from the first use of oneTBB on, whether this process was forked from one that used it: there, oneTBB's
/// workers are missing, and its locks may be held by threads that no longer exist.
void watchForks() {
    static const int watched = pthread_atfork(nullptr, nullptr, [] { isForked = true; });
    static_cast<void>(watched);
}

}  // namespace

struct Threads::Arena : tbb::task_arena {
    using tbb::task_arena::task_arena;
};

int Threads::settled(int count) {
    if (count < 0 || count > kMost) {
        raise(ErrorKind::badArgument,
              "Invalid number of threads " + std::to_string(count) + " specified, 0 to " +
                  std::to_string(kMost) + " are possible.",
              {"vision/superresolution/detail/numerics/Threads", __LINE__,
               "oravo::vision::detail::Threads::settled"});
    }
    return count != 0 ? count : std::clamp(tbb::info::default_concurrency(), 1, kMost);
}

Threads::Threads(int count) : count_(settled(count)) {
    if (count_ == 1 || isForked) return;
    watchForks();
    // oneTBB complains on standard error of arenas that want more threads than it may start.
    const std::size_t most = tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism);
    arena_.reset(new Arena(static_cast<int>(std::min(static_cast<std::size_t>(count_), most))),
                 [](Arena* arena) {
                     if (!isForked) delete arena;
                 });
}

void Threads::run(int parts, Part call, const void* body) const {
    if (isForked || !arena_) {
        for (int part = 0; part < parts; ++part) call(body, part, 0);
        return;
    }
    Parts all;
    arena_->execute([&] {
        tbb::task_group_context context = sharedRounding();
        const auto work = [&](int part) {
            all.doOne([&] { call(body, part, tbb::this_task_arena::current_thread_index()); });
        };
        tbb::parallel_for(0, parts, work, tbb::simple_partitioner(), context);
    });
}

void Threads::runInOrder(int parts, Part call, const void* body, Finished done, const void* finish) const {
    if (isForked || !arena_) {
        for (int part = 0; part < parts; ++part) {
            call(body, part, 0);
            done(finish, part);
        }
        return;
    }
    Parts all;
    arena_->execute([&] {
        tbb::task_group_context context = sharedRounding();
        int next = 0;
        const auto begin = [&](tbb::flow_control& control) {
            if (next == parts) control.stop();
            return next++;
        };
        const auto work = [&](int part) {
            all.doOne([&] { call(body, part, tbb::this_task_arena::current_thread_index()); });
            return part;
        };
        const auto end = [&](int part) { all.doNext([&] { done(finish, part); }); };
        using tbb::filter_mode;
        tbb::parallel_pipeline(2 * static_cast<std::size_t>(count_),
                               tbb::make_filter<void, int>(filter_mode::serial_in_order, begin) &
                                   tbb::make_filter<int, int>(filter_mode::parallel, work) &
                                   tbb::make_filter<int, void>(filter_mode::serial_in_order, end),
                               context);
    });
}

}  // namespace oravo::vision::detail
