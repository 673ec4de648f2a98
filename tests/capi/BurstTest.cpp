#include "capi/Burst.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrPrecise.h"

namespace oravo::test {
namespace {

constexpr int kWidth = 40;
constexpr int kHeight = 32;
constexpr std::size_t kPixels = static_cast<std::size_t>(kWidth) * kHeight;

std::vector<Image> movingBurst(int seed) {
    std::vector<Point> shifts;
    for (int i = 0; i < 5; ++i)
        shifts.emplace_back(0.3f * static_cast<float>(i), -0.2f * static_cast<float>(i));
    return burst(Scene(seed, kHeight, kWidth), kHeight, kWidth, shifts);
}

oravo_burst filled(const std::vector<Image>& frames, const oravo_burst_options* options = nullptr) {
    const oravo_burst handle = oravo_burst_create(kWidth, kHeight, options);
    EXPECT_NE(handle, 0u) << oravo_burst_error(0);
    for (const Image& frame : frames)
        EXPECT_EQ(oravo_burst_add(handle, frame.ptr<float>(), 0), ORAVO_BURST_OK);
    return handle;
}

std::vector<float> imageOf(oravo_burst handle) {
    std::vector<float> image(4 * kPixels);
    EXPECT_EQ(oravo_burst_image(handle, image.data()), ORAVO_BURST_OK) << oravo_burst_error(handle);
    return image;
}

TEST(Burst, GivesWhatTheEngineGives) {
    const std::vector<Image> frames = movingBurst(3);
    const oravo_burst handle = filled(frames);
    ASSERT_EQ(oravo_burst_reconstruct(handle, 1), ORAVO_BURST_OK) << oravo_burst_error(handle);
    const vision::SrPreciseResult expected =
        vision::SrPrecise(kWidth, kHeight).compute({frames.begin(), frames.end()}, 1);
    const std::vector<float> image = imageOf(handle);
    EXPECT_EQ(std::memcmp(image.data(), expected.image[0], image.size() * sizeof(float)), 0);
    std::vector<float> map(4 * kPixels);
    ASSERT_EQ(oravo_burst_deviation(handle, map.data()), ORAVO_BURST_OK);
    EXPECT_EQ(std::memcmp(map.data(), expected.deviation[0], map.size() * sizeof(float)), 0);
    ASSERT_EQ(oravo_burst_weight(handle, map.data()), ORAVO_BURST_OK);
    EXPECT_EQ(std::memcmp(map.data(), expected.weight[0], map.size() * sizeof(float)), 0);
    oravo_burst_frame info;
    ASSERT_EQ(oravo_burst_frame_info(handle, 4, &info), ORAVO_BURST_OK);
    EXPECT_EQ(info.dx, expected.frames[4].dx);
    EXPECT_EQ(info.linear[2], expected.frames[4].linear[1][0]);
    EXPECT_EQ(info.weight, expected.frames[4].weight);
    double figure = 0.0;
    ASSERT_EQ(oravo_burst_figure(handle, "withheld_error", &figure), ORAVO_BURST_OK);
    EXPECT_EQ(figure, expected.withheldError);
    ASSERT_EQ(oravo_burst_figure(handle, "used_frames", &figure), ORAVO_BURST_OK);
    EXPECT_EQ(figure, 5.0);
    const std::pair<const char*, double> judgement[] = {{"gain_db", expected.gain},
                                                        {"trusted", expected.trusted ? 1.0 : 0.0},
                                                        {"leaning", expected.leaning},
                                                        {"share_on_reference", expected.shareOnReference}};
    for (const auto& [name, value] : judgement) {
        ASSERT_EQ(oravo_burst_figure(handle, name, &figure), ORAVO_BURST_OK) << name;
        EXPECT_EQ(figure, value) << name;
    }
    oravo_burst_destroy(handle);
}

TEST(Burst, ReadsRowsAtAnyPitch) {
    const std::vector<Image> frames = movingBurst(3);
    const oravo_burst dense = filled(frames), padded = oravo_burst_create(kWidth, kHeight, nullptr);
    for (const Image& frame : frames) {
        Image wide(kHeight, kWidth + 3, 1e9f);
        frame.copyTo(wide.colRange(0, kWidth));
        ASSERT_EQ(oravo_burst_add(padded, wide.ptr<float>(), (kWidth + 3) * 4), ORAVO_BURST_OK);
    }
    ASSERT_EQ(oravo_burst_reconstruct(dense, 2), ORAVO_BURST_OK);
    ASSERT_EQ(oravo_burst_reconstruct(padded, 2), ORAVO_BURST_OK);
    EXPECT_EQ(imageOf(dense), imageOf(padded));
    oravo_burst_destroy(dense);
    oravo_burst_destroy(padded);
}

TEST(Burst, RefusesWhatCannotBeAndSaysWhat) {
    EXPECT_EQ(oravo_burst_create(7, 100, nullptr), 0u);
    EXPECT_STREQ(oravo_burst_error(0), "Frames of 7 x 100 pixels: each side has to be at least 8.");
    const oravo_burst handle = oravo_burst_create(kWidth, kHeight, nullptr);
    std::vector<float> out(4 * kPixels);
    EXPECT_EQ(oravo_burst_image(handle, out.data()), ORAVO_BURST_NO_RESULT);
    EXPECT_EQ(oravo_burst_reconstruct(handle, 0), ORAVO_BURST_ARGUMENT);
    EXPECT_STREQ(oravo_burst_error(handle), "0 frames: 1 to 64 make an image.");
    EXPECT_EQ(oravo_burst_add(handle, nullptr, 0), ORAVO_BURST_ARGUMENT);
    EXPECT_EQ(oravo_burst_add(handle, out.data(), 4), ORAVO_BURST_ARGUMENT);
    EXPECT_STREQ(oravo_burst_error(handle), "a pitch of 4 bytes is less than a row's 160");
    for (int i = 0; i < 64; ++i) ASSERT_EQ(oravo_burst_add(handle, out.data(), 0), ORAVO_BURST_OK);
    EXPECT_EQ(oravo_burst_add(handle, out.data(), 0), ORAVO_BURST_ARGUMENT);
    ASSERT_EQ(oravo_burst_clear(handle), ORAVO_BURST_OK);
    ASSERT_EQ(oravo_burst_add(handle, out.data(), 0), ORAVO_BURST_OK);
    ASSERT_EQ(oravo_burst_reconstruct(handle, 0), ORAVO_BURST_OK) << oravo_burst_error(handle);
    double figure = 0.0;
    EXPECT_EQ(oravo_burst_figure(handle, "gloss", &figure), ORAVO_BURST_ARGUMENT);
    EXPECT_STREQ(oravo_burst_error(handle), "there is no figure \"gloss\"");
    EXPECT_EQ(oravo_burst_figure(handle, nullptr, &figure), ORAVO_BURST_ARGUMENT);
    EXPECT_EQ(oravo_burst_image(handle, nullptr), ORAVO_BURST_ARGUMENT);
    oravo_burst_frame info;
    EXPECT_EQ(oravo_burst_frame_info(handle, 1, &info), ORAVO_BURST_ARGUMENT);
    EXPECT_EQ(oravo_burst_destroy(handle), ORAVO_BURST_OK);
    const oravo_burst other = oravo_burst_create(kWidth, kHeight, nullptr);
    EXPECT_EQ(oravo_burst_add(handle, out.data(), 0), ORAVO_BURST_STALE);
    EXPECT_EQ(oravo_burst_destroy(handle), ORAVO_BURST_STALE);
    oravo_burst_destroy(other);
}

TEST(Burst, OptionsOfASmallerHeaderKeepTheDefaultsOfTheRest) {
    oravo_burst_options options;
    ASSERT_EQ(oravo_burst_options_init(&options, sizeof options), ORAVO_BURST_OK);
    EXPECT_EQ(options.factor, 2);
    options.factor = 9;
    EXPECT_EQ(oravo_burst_create(kWidth, kHeight, &options), 0u);
    EXPECT_STREQ(oravo_burst_error(0), "Factor 9 is not from 1 to 4.");
    options.size = offsetof(oravo_burst_options, factor);
    const oravo_burst handle = oravo_burst_create(kWidth, kHeight, &options);
    EXPECT_NE(handle, 0u);
    oravo_burst_destroy(handle);
    EXPECT_EQ(oravo_burst_options_init(nullptr, sizeof options), ORAVO_BURST_ARGUMENT);
}

TEST(Burst, CanBeWatchedAndCancelled) {
    oravo_burst_options options;
    oravo_burst_options_init(&options, sizeof options);
    std::vector<double> shares;
    options.progress = [](double share, void* user) {
        static_cast<std::vector<double>*>(user)->push_back(share);
        return share < 0.4 ? 1 : 0;
    };
    options.user = &shares;
    const oravo_burst handle = filled(movingBurst(5), &options);
    EXPECT_EQ(oravo_burst_reconstruct(handle, 1), ORAVO_BURST_CANCELLED);
    ASSERT_GE(shares.size(), 2u);
    EXPECT_GE(shares.back(), 0.4);
    std::vector<float> out(4 * kPixels);
    EXPECT_EQ(oravo_burst_image(handle, out.data()), ORAVO_BURST_NO_RESULT);
    oravo_burst_destroy(handle);
}

TEST(Burst, ThreadsWorkOnBurstsOfTheirOwn) {
    constexpr int kThreads = 4;
    std::vector<std::vector<float>> alone, together(kThreads);
    const auto work = [](int seed) {
        const oravo_burst handle = filled(movingBurst(seed));
        EXPECT_EQ(oravo_burst_reconstruct(handle, 1), ORAVO_BURST_OK);
        std::vector<float> image = imageOf(handle);
        oravo_burst_destroy(handle);
        return image;
    };
    for (int seed = 0; seed < kThreads; ++seed) alone.push_back(work(seed));
    std::vector<std::thread> threads;
    for (int seed = 0; seed < kThreads; ++seed) {
        threads.emplace_back([&, seed] { together[static_cast<std::size_t>(seed)] = work(seed); });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(alone, together);
}

}  // namespace
}  // namespace oravo::test
