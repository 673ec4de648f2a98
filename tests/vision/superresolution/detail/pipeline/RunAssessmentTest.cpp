#include "vision/superresolution/detail/pipeline/RunAssessment.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/TestScenes.h"

namespace oravo::vision::detail {
namespace {

template <class Mask>
int statusOf(FrameSize size, test::Point shift, int valid) {
    const auto pixels = static_cast<std::size_t>(size.pixelCount());
    std::vector<Mask> reference(pixels, Mask(1)), other(pixels, Mask(0));
    std::fill_n(other.begin(), valid, Mask(1));
    Mask* masks[] = {reference.data(), other.data()};
    const test::Point shifts[] = {{0.0f, 0.0f}, shift};
    return motionAndCoverageStatus(size, 2, shifts, masks);
}

TEST(RunAssessment, LimitsAreATenthOfTheHeightAndHalfOfThePixels) {
    for (const FrameSize size : {FrameSize{40, 30}, {41, 39}, {17, 100}, {16, 9}}) {
        const int pixels = size.pixelCount();
        const int tenth = size.height / 10;  // in whole pixels: 3.9 are 3
        const auto limit = static_cast<float>(tenth);
        const float beyond = std::nextafter(limit, 1e9f);
        for (const float sign : {1.0f, -1.0f}) {
            EXPECT_EQ(statusOf<char>(size, {sign * limit, -sign * limit}, pixels), 0) << size.height;
            EXPECT_EQ(statusOf<char>(size, {sign * beyond, 0}, pixels), -6) << size.height;
            EXPECT_EQ(statusOf<char>(size, {0, sign * beyond}, pixels), -6) << size.height;
            EXPECT_EQ(statusOf<char>(size, {0, sign * beyond}, 0), -6) << "before -3";
        }
        for (const auto& status : {statusOf<char>, statusOf<float>}) {
            EXPECT_EQ(status(size, {0, 0}, pixels / 2), -3) << "half, or less";
            EXPECT_EQ(status(size, {0, 0}, pixels / 2 + 1), 0) << "more than half";
        }
    }
}

}  // namespace
}  // namespace oravo::vision::detail
