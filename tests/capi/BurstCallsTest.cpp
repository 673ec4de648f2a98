// What bursts do with calls that cannot be served: invalid, stale, or too large.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
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

}  // namespace
}  // namespace oravo::test
