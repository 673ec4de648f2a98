#ifndef ORAVO_TESTS_CAPI_BURSTS_H
#define ORAVO_TESTS_CAPI_BURSTS_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "capi/Burst.h"
#include "tests/TestScenes.h"

/// Small bursts for the tests of the C interface.
namespace oravo::test {

constexpr int kWidth = 40;
constexpr int kHeight = 32;
constexpr std::size_t kPixels = static_cast<std::size_t>(kWidth) * kHeight;

inline std::vector<Image> movingBurst(unsigned seed, int count = 5) {
    std::vector<Point> shifts;
    for (int i = 0; i < count; ++i)
        shifts.emplace_back(0.3f * static_cast<float>(i), -0.2f * static_cast<float>(i));
    return burst(Scene(seed, kHeight, kWidth), kHeight, kWidth, shifts);
}

inline oravo_burst_options optionsOf(int pipeline) {
    oravo_burst_options options;
    EXPECT_EQ(oravo_burst_options_init(&options, sizeof options), ORAVO_BURST_OK);
    options.pipeline = pipeline;
    return options;
}

/// A burst with frames in it, destroyed at the end.
class OwnedBurst {
  public:
    OwnedBurst(const std::vector<Image>& frames, const oravo_burst_options& options)
        : handle_(oravo_burst_create(kWidth, kHeight, &options)) {
        EXPECT_NE(handle_, 0u) << oravo_burst_error(0);
        for (const Image& frame : frames)
            EXPECT_EQ(oravo_burst_add(handle_, frame[0], 0), ORAVO_BURST_OK) << oravo_burst_error(handle_);
    }
    OwnedBurst(const OwnedBurst&) = delete;
    OwnedBurst& operator=(const OwnedBurst&) = delete;
    ~OwnedBurst() { oravo_burst_destroy(handle_); }

    operator oravo_burst() const { return handle_; }

    Image image() const {
        Image out(2 * kHeight, 2 * kWidth);
        EXPECT_EQ(oravo_burst_image(handle_, out[0], 0), ORAVO_BURST_OK) << oravo_burst_error(handle_);
        return out;
    }
    Image reconstructed() const {
        EXPECT_EQ(oravo_burst_reconstruct(handle_, ORAVO_BURST_OWN_REFERENCE), ORAVO_BURST_OK)
            << oravo_burst_error(handle_);
        return image();
    }

  private:
    oravo_burst handle_;
};

/// What a burst's log gets: level and text line by line.
struct Said {
    std::string text;

    void listenTo(oravo_burst_options& options) {
        options.user = this;
        options.log = [](int level, const char* words, void* user) {
            static_cast<Said*>(user)->text += std::to_string(level) + ' ' + words + '\n';
        };
    }
};

}  // namespace oravo::test

#endif
