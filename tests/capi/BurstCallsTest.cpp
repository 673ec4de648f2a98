// What bursts do with calls that cannot be served: invalid, stale, from another thread, or too large.

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "capi/Burst.h"
#include "tests/capi/Bursts.h"

namespace oravo::test {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

TEST(BurstCalls, InvalidOptionsAreNamedWithTheirValue) {
    using Options = oravo_burst_options;
    const struct {
        int pipeline;
        std::function<void(Options&)> spoil;
        const char* text;
    } cases[] = {
        {4, [](Options&) {}, "pipeline is 4; it has to be one of oravo_burst_pipeline."},
        {-1, [](Options&) {}, "pipeline is -1; it has to be one of oravo_burst_pipeline."},
        {0, [](Options& o) { o.frames = 65; }, "frames is 65; it has to be from 1 to 64"},
        {0, [](Options& o) { o.frames = INT_MIN; }, "frames is -2.147484e+09;"},
        {0, [](Options& o) { o.factor = 9; }, "Factor 9 is not from 1 to 4."},
        {0, [](Options& o) { o.psf_sigma = kNan; }, "Blur of nan pixels is not from 0.3 to 2."},
        {0, [](Options& o) { o.lowest = kNan; }, "Lowest value nan is not below the highest"},
        {0, [](Options& o) { o.smoothness = -1.0; }, "Smoothness -1 is not a number from 0 on."},
        {0, [](Options& o) { o.iterations = 9; },
         "iterations is 9, but the precise pipeline has no such option"},
        {1, [](Options& o) { o.threads = 65; }, "threads is 65; it has to be from 1 to 64"},
        {2, [](Options& o) { o.threads = 2; }, "threads is 2, but the vector pipeline has no such option"},
        {1, [](Options& o) { o.psf_box = 1.0f; }, "psf_box is 1, but the float pipeline has no such option"},
        {1, [](Options& o) { o.iterations = 0; }, "iterations is 0; it has to be from 1 on."},
        {1, [](Options& o) { o.tv_weight = kNan; }, "tv_weight is nan; it has to be a number from 1 on."},
        {1, [](Options& o) { o.relative_residue = 0.0f; }, "relative_residue is 0;"},
        {1, [](Options& o) { o.registration_error = 1.5f; },
         "registration_error is 1.5; it has to be above 0"},
        {1, [](Options& o) { o.psf_sigma = INFINITY; }, "psf_sigma is inf; it has to be above 0, to 100."},
        {1, [](Options& o) { o.factor = 3; }, "factor is 3, but the float pipeline has no such option"},
        {1, [](Options& o) { o.registration = 3; }, "registration is 3; it has to be one of"},
        {1, [](Options& o) { o.highest = 4e4f; },
         "[lowest, highest] is [-274, 40000]; for the float pipeline"},
        {1, [](Options& o) { o.lowest = kNan; }, "[lowest, highest] is [nan, 5000]"},
        {2, [](Options& o) { o.highest = 4e4f; },
         "highest is 40000, but the vector pipeline has no such option"},
        {2, [](Options& o) { o.registration = 2; },
         "registration is 2, but the vector pipeline aligns frames by"},
        {3, [](Options& o) { o.registration = 1; },
         "the reference pipeline aligns frames by phase correlation only."},
        {0, [](Options& o) { o.size = 3; }, "options.size is 3; oravo_burst_options_init()"},
        {0, [](Options& o) { o.size = 1000; }, "options.size is 1000; oravo_burst_options_init()"}};
    for (const auto& each : cases) {
        Options options = optionsOf(each.pipeline);
        each.spoil(options);
        EXPECT_EQ(oravo_burst_create(kWidth, kHeight, &options), 0u) << each.text;
        EXPECT_EQ(oravo_burst_error_code(0), ORAVO_BURST_ARGUMENT);
        EXPECT_NE(std::string(oravo_burst_error(0)).find(each.text), std::string::npos)
            << oravo_burst_error(0) << "\nfor " << each.text;
        EXPECT_EQ(oravo_burst_memory(kWidth, kHeight, &options), 0u);
    }
}

TEST(BurstCalls, SizesThatCannotBeAreRefused) {
    const struct {
        int pipeline, width, height;
        const char* text;
    } cases[] = {{0, 7, 100, "Frames of 7 x 100 pixels: each side has to be at least 8."},
                 {0, -5, INT_MIN, "Frames of -5 x -2147483648 pixels"},
                 {0, INT_MAX, INT_MAX, "is too large"},
                 {1, 2, 9, "Frames of 2 x 9 pixels: the float pipeline takes at least 3 x 3."},
                 {1, INT_MAX, INT_MAX, ""},
                 {3, 9, 9, "Frames of 9 x 9 pixels: phase correlation takes even widths only."}};
    for (const auto& each : cases) {
        const oravo_burst_options options = optionsOf(each.pipeline);
        EXPECT_EQ(oravo_burst_create(each.width, each.height, &options), 0u);
        EXPECT_EQ(oravo_burst_error_code(0), ORAVO_BURST_ARGUMENT);
        EXPECT_NE(std::string(oravo_burst_error(0)).find(each.text), std::string::npos)
            << oravo_burst_error(0);
    }
}

TEST(BurstCalls, OptionsOfAnotherHeaderKeepTheDefaultsOfTheRest) {
    oravo_burst_options options = optionsOf(ORAVO_BURST_FLOAT);
    options.factor = 9;
    options.size = offsetof(oravo_burst_options, factor) + 2;  // half a field is none
    const oravo_burst burst = oravo_burst_create(kWidth, kHeight, &options);
    EXPECT_NE(burst, 0u) << oravo_burst_error(0);
    oravo_burst_destroy(burst);
    struct {
        oravo_burst_options options;
        int later;
    } newer{{}, 77};
    ASSERT_EQ(oravo_burst_options_init(&newer.options, sizeof newer), ORAVO_BURST_OK);
    EXPECT_EQ(newer.options.size, sizeof options);
    EXPECT_EQ(newer.later, 77);
    EXPECT_EQ(oravo_burst_options_init(nullptr, sizeof options), ORAVO_BURST_ARGUMENT);
    EXPECT_EQ(oravo_burst_options_init(&options, 7), ORAVO_BURST_ARGUMENT);
}

TEST(BurstCalls, WhatTakesTooMuchMemoryIsRefused) {
    for (const int pipeline : {ORAVO_BURST_PRECISE, ORAVO_BURST_VECTOR}) {
        oravo_burst_options options = optionsOf(pipeline);
        const std::uint64_t needed = oravo_burst_memory(640, 480, &options);
        EXPECT_GT(needed, 50u << 20);
        options.most_memory = needed - 1;
        EXPECT_EQ(oravo_burst_create(640, 480, &options), 0u);
        EXPECT_EQ(oravo_burst_error_code(0), ORAVO_BURST_MEMORY);
        EXPECT_NE(std::string(oravo_burst_error(0)).find("frames of 640 x 480 pixels takes up to"),
                  std::string::npos)
            << oravo_burst_error(0);
        options.most_memory = needed;
        const oravo_burst burst = oravo_burst_create(640, 480, &options);
        EXPECT_NE(burst, 0u) << oravo_burst_error(0);
        oravo_burst_destroy(burst);
        options.most_memory = 0;
        options.frames = 64;
        EXPECT_EQ(oravo_burst_create(16000, 16000, &options), 0u);  // about 800 GB
        EXPECT_EQ(oravo_burst_error_code(0), ORAVO_BURST_MEMORY) << oravo_burst_error(0);
    }
}

TEST(BurstCalls, StaleAndForeignHandlesAreRefusedForGood) {
    const oravo_burst_options options = optionsOf(ORAVO_BURST_FLOAT);
    const oravo_burst first = oravo_burst_create(kWidth, kHeight, &options);
    ASSERT_EQ(oravo_burst_destroy(first), ORAVO_BURST_OK);
    std::vector<oravo_burst> later;
    for (int i = 0; i < 20; ++i) later.push_back(oravo_burst_create(kWidth, kHeight, &options));
    std::vector<oravo_burst> foreign{first, 0, UINT64_MAX};
    for (oravo_burst handle = 1; handle < 40; ++handle) foreign.push_back(handle);
    for (const oravo_burst handle : later) foreign.push_back(handle + 1);
    for (const oravo_burst handle : foreign) {
        EXPECT_EQ(oravo_burst_frames(handle), ORAVO_BURST_STALE) << handle;
        EXPECT_EQ(oravo_burst_cancel(handle), ORAVO_BURST_STALE);
        EXPECT_EQ(oravo_burst_destroy(handle), ORAVO_BURST_STALE);
        EXPECT_EQ(oravo_burst_error_code(handle), ORAVO_BURST_STALE);
        EXPECT_STREQ(oravo_burst_error(handle), "There is no such burst, or it was destroyed.");
    }
    for (const oravo_burst handle : later) EXPECT_EQ(oravo_burst_destroy(handle), ORAVO_BURST_OK);
}

TEST(BurstCalls, EachBurstKeepsItsError) {
    const OwnedBurst one({}, optionsOf(ORAVO_BURST_PRECISE)), other({}, optionsOf(ORAVO_BURST_FLOAT));
    EXPECT_EQ(oravo_burst_error_code(one), ORAVO_BURST_OK);
    EXPECT_STREQ(oravo_burst_error(one), "");
    EXPECT_EQ(oravo_burst_reconstruct(one, 0), ORAVO_BURST_ARGUMENT);
    std::vector<float> frame(kPixels);
    const struct {
        int status;
        const char* text;
    } calls[] = {
        {oravo_burst_add(other, nullptr, 0), "pixels is a null pointer."},
        {oravo_burst_add(other, frame.data(), -4), "pitch is -4; a row has 160 bytes."},
        {oravo_burst_add(other, frame.data(), PTRDIFF_MIN), "pitch is -9223372036854775808; no memory"},
        {oravo_burst_add_u16(other, nullptr, 0, 1, 0), "counts is a null pointer."}};
    for (const auto& call : calls) EXPECT_EQ(call.status, ORAVO_BURST_ARGUMENT) << call.text;
    EXPECT_STREQ(oravo_burst_error(other), calls[3].text);
    EXPECT_STREQ(oravo_burst_error(one), "No frames: at least one makes an image.");
    const std::uint16_t counts[kPixels] = {};
    EXPECT_EQ(oravo_burst_add_u16(other, counts, 0, 0.0, 0.0), ORAVO_BURST_ARGUMENT);
    EXPECT_EQ(oravo_burst_add_u16(other, counts, 0, NAN, 0.0), ORAVO_BURST_ARGUMENT);
    EXPECT_EQ(oravo_burst_add_u16(other, counts, 0, 1.0, INFINITY), ORAVO_BURST_ARGUMENT);
    EXPECT_STREQ(oravo_burst_error(other), "offset is inf; it has to be a number.");
    EXPECT_EQ(oravo_burst_frames(other), 0);
    EXPECT_EQ(oravo_burst_image(other, frame.data(), 0), ORAVO_BURST_NO_RESULT);
    EXPECT_EQ(oravo_burst_error_code(other), ORAVO_BURST_NO_RESULT);
}

TEST(BurstCalls, ReferencesAreCountedFromTheNewest) {
    const std::vector<Image> frames = movingBurst(3, 3);
    const OwnedBurst burst(frames, optionsOf(ORAVO_BURST_PRECISE));
    for (const auto& [reference, index] :
         std::vector<std::pair<int, double>>{{0, 2}, {2, 0}, {11, 0}, {ORAVO_BURST_OWN_REFERENCE, 0}}) {
        ASSERT_EQ(oravo_burst_reconstruct(burst, reference), ORAVO_BURST_OK);
        double value = -1.0;
        ASSERT_EQ(oravo_burst_figure(burst, "reference", &value), ORAVO_BURST_OK);
        EXPECT_EQ(value, index) << reference;
    }
    for (const int reference : {12, -2, INT_MIN, INT_MAX})
        EXPECT_EQ(oravo_burst_reconstruct(burst, reference), ORAVO_BURST_ARGUMENT) << reference;
    const OwnedBurst plain(frames, optionsOf(ORAVO_BURST_REFERENCE));
    EXPECT_EQ(oravo_burst_reconstruct(plain, 1), ORAVO_BURST_ARGUMENT);
    EXPECT_STREQ(oravo_burst_error(plain),
                 "Reference 1: the reference pipeline always refers to the newest frame.");
}

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

TEST(BurstCalls, RunsCanBeWatchedAndCancelledAndStartedAgain) {
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

TEST(BurstCalls, ACallbackMayCancelItsBurstButNotUseIt) {
    oravo_burst_options options = optionsOf(ORAVO_BURST_PRECISE);
    Watch watch;
    watch.follow(options);
    const OwnedBurst burst(movingBurst(5), options);
    watch.own = burst;
    EXPECT_EQ(oravo_burst_reconstruct(burst, 0), ORAVO_BURST_CANCELLED);
    EXPECT_EQ(watch.statuses,
              (std::vector<int>{ORAVO_BURST_BUSY, ORAVO_BURST_BUSY, ORAVO_BURST_BUSY, ORAVO_BURST_OK}));
    options.progress = [](double, void*) -> int { throw 7; };
    const OwnedBurst throwing(movingBurst(5), options);
    EXPECT_EQ(oravo_burst_reconstruct(throwing, 0), ORAVO_BURST_FAILED);
}

TEST(BurstCalls, AnotherThreadMayCancelAndDestroy) {
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

TEST(BurstCalls, ThreadsWorkOnBurstsOfTheirOwn) {
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
