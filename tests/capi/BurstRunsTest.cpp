// What bursts do while they run: reports, cancellations, calls from callbacks and from other threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "capi/Burst.h"
#include "tests/capi/Bursts.h"

namespace oravo::test {
namespace {

/// A progress callback that cancels from a share on.
struct Watch {
    std::vector<double> shares;
    double most = 2.0;
    oravo_burst own = 0;
    std::vector<int> statuses;

    void follow(oravo_burst_options& options) {
        options.user = this;
        options.progress = [](double share, void* user) {
            auto& watch = *static_cast<Watch*>(user);
            watch.shares.push_back(share);
            if (watch.own != 0 && watch.statuses.empty()) {
                watch.statuses = {oravo_burst_frames(watch.own), oravo_burst_reconstruct(watch.own, 0),
                                  oravo_burst_error_code(watch.own), oravo_burst_cancel(watch.own)};
            }
            return share < watch.most ? 1 : 0;
        };
    }
};

TEST(BurstRuns, RunsCanBeWatchedAndCancelledAndStartedAgain) {
    for (const int pipeline :
         {ORAVO_BURST_PRECISE, ORAVO_BURST_FLOAT, ORAVO_BURST_VECTOR, ORAVO_BURST_REFERENCE}) {
        const Image expected = OwnedBurst(movingBurst(5), optionsOf(pipeline)).reconstructed();
        oravo_burst_options options = optionsOf(pipeline);
        Watch watch;
        watch.follow(options);
        const OwnedBurst burst(movingBurst(5), options);
        EXPECT_TRUE(sameBits(burst.reconstructed(), expected));
        EXPECT_TRUE(std::is_sorted(watch.shares.begin(), watch.shares.end()));
        EXPECT_EQ(watch.shares.back(), 1.0);
        EXPECT_GE(watch.shares.size(), pipeline == ORAVO_BURST_PRECISE ? 50u : 4u);
        for (const double share : {0.0, 0.4, 1.0}) {
            watch.most = share;
            EXPECT_EQ(oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE), ORAVO_BURST_CANCELLED);
            Image out(2 * kHeight, 2 * kWidth);
            EXPECT_EQ(oravo_burst_image(burst, out[0], 0), ORAVO_BURST_NO_RESULT);
        }
        watch.most = 2.0;
        EXPECT_TRUE(sameBits(burst.reconstructed(), expected)) << pipeline;
    }
}

TEST(BurstRuns, ACallbackMayCancelItsBurstButNotUseIt) {
    oravo_burst_options options = optionsOf(ORAVO_BURST_PRECISE);
    Watch watch;
    watch.follow(options);
    const OwnedBurst burst(movingBurst(5), options);
    watch.own = burst;
    EXPECT_EQ(oravo_burst_reconstruct(burst, 0), ORAVO_BURST_CANCELLED);
    EXPECT_EQ(watch.statuses,
              (std::vector<int>{ORAVO_BURST_BUSY, ORAVO_BURST_BUSY, ORAVO_BURST_BUSY, ORAVO_BURST_OK}));
}

/// Of whatever type, even of those that stand for something else where the library throws them.
TEST(BurstRuns, WhatACallbackThrowsEndsItsCall) {
    using Progress = int (*)(double, void*);
    const std::pair<Progress, const char*> kThrowing[] = {
        {[](double, void*) -> int { throw 7; }, "of a type of its own"},
        {[](double, void*) -> int { throw "mine"; }, "mine"},
        {[](double, void*) -> int { throw std::bad_alloc(); }, "std::bad_alloc"},
        {[](double, void*) -> int { throw std::out_of_range("beyond"); }, "beyond"}};
    for (const auto& [progress, text] : kThrowing) {
        oravo_burst_options options = optionsOf(ORAVO_BURST_FLOAT);
        options.progress = progress;
        const OwnedBurst burst(movingBurst(5), options);
        EXPECT_EQ(oravo_burst_reconstruct(burst, 0), ORAVO_BURST_FAILED);
        EXPECT_EQ(oravo_burst_error(burst), std::string("A callback threw an exception: ") + text);
    }
    oravo_burst_options options = optionsOf(ORAVO_BURST_PRECISE);
    options.log = [](int, const char*, void*) { throw "mine"; };
    EXPECT_EQ(oravo_burst_create(kWidth, kHeight, &options), 0u);
    EXPECT_EQ(oravo_burst_error_code(0), ORAVO_BURST_FAILED);
}

TEST(BurstRuns, AnotherThreadMayCancelAndDestroy) {
    for (const bool destroys : {false, true}) {
        oravo_burst_options options = optionsOf(ORAVO_BURST_PRECISE);
        std::atomic<bool> started{false}, ended{false};
        struct Gate {
            std::atomic<bool>&started, &ended;
        } gate{started, ended};
        options.user = &gate;
        options.progress = [](double, void* user) {
            auto& seen = *static_cast<Gate*>(user);
            seen.started = true;
            while (!seen.ended) std::this_thread::yield();
            return 1;
        };
        const oravo_burst burst = oravo_burst_create(kWidth, kHeight, &options);
        for (const Image& frame : movingBurst(5)) oravo_burst_add(burst, frame[0], 0);
        EXPECT_EQ(oravo_burst_cancel(burst), ORAVO_BURST_OK);  // no run, no effect
        int status = 1;
        std::thread worker([&] { status = oravo_burst_reconstruct(burst, 0); });
        while (!started) std::this_thread::yield();
        EXPECT_EQ(oravo_burst_frames(burst), ORAVO_BURST_BUSY);
        EXPECT_EQ(destroys ? oravo_burst_destroy(burst) : oravo_burst_cancel(burst), ORAVO_BURST_OK);
        ended = true;
        worker.join();
        EXPECT_EQ(status, ORAVO_BURST_CANCELLED);
        EXPECT_EQ(oravo_burst_frames(burst), destroys ? ORAVO_BURST_STALE : 5);
        if (!destroys) oravo_burst_destroy(burst);
    }
}

TEST(BurstRuns, ThreadsWorkOnBurstsOfTheirOwn) {
    const auto work = [](int task) {
        const oravo_burst_options options = optionsOf(task % 4);
        const OwnedBurst burst(movingBurst(static_cast<unsigned>(task)), options);
        Image image = burst.reconstructed();
        oravo_burst_add(burst, nullptr, 0);
        EXPECT_STREQ(oravo_burst_error(burst), "pixels is a null pointer.");
        EXPECT_EQ(oravo_burst_create(task % 2, 1, &options), 0u);
        EXPECT_NE(std::string(oravo_burst_error(0)).find("of " + std::to_string(task % 2) + " x 1"),
                  std::string::npos);
        return image;
    };
    constexpr int kTasks = 8;
    std::vector<Image> alone, together(kTasks);
    for (int task = 0; task < kTasks; ++task) alone.push_back(work(task));
    std::vector<std::thread> threads;
    for (int task = 0; task < kTasks; ++task)
        threads.emplace_back([&, task] { together[static_cast<std::size_t>(task)] = work(task); });
    for (std::thread& thread : threads) thread.join();
    for (std::size_t task = 0; task < kTasks; ++task)
        EXPECT_TRUE(sameBits(alone[task], together[task])) << task;
}

}  // namespace
}  // namespace oravo::test
