#include "vision/superresolution/detail/registration/FrameMove.h"

#include <gtest/gtest.h>

#include <limits>

#include "tests/TestScenes.h"

namespace oravo::vision::detail {
namespace {

using test::Image;
using test::Point;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr CodeLocation kHere{"a/File", 1, "f"};

}  // namespace

TEST(FrameMove, RoundsHalvesUpwardAndLeavesTheRemainder) {
    struct Row {
        Point shift, remainder;
        int offset;  // in a 4 x 3 frame
    };
    const Row rows[] = {{{0.0f, 0.0f}, {0.0f, 0.0f}, 0},      {{0.3f, -0.2f}, {0.3f, -0.2f}, 0},
                        {{0.5f, -0.5f}, {-0.5f, -0.5f}, 1},   {{-1.5f, 0.0f}, {-0.5f, 0.0f}, -1},
                        {{0.0f, 2.4f}, {0.0f, 0.4f}, 8},      {{-0.5f, 1.0f}, {-0.5f, 0.0f}, 4},
                        {{2.75f, -2.5f}, {-0.25f, -0.5f}, -5}};
    const Image source = test::randomImage(3, 4, 1, 1.0f, 2.0f);
    for (const Row& row : rows) {
        Image target(3, 4, -7.0f);
        Point shift = row.shift;
        shiftFrame(FrameSize{4, 3}, source.ptr<float>(), shift, target.ptr<float>());
        EXPECT_NEAR(shift.x, row.remainder.x, 1e-6f) << row.shift;
        EXPECT_NEAR(shift.y, row.remainder.y, 1e-6f) << row.shift;
        for (int k = 0; k < 12; ++k) {
            const int from = k + row.offset;
            EXPECT_EQ(*(target.begin() + k), from >= 0 && from < 12 ? *(source.begin() + from) : 0.0f)
                << row.shift << " at " << k;
        }
    }
}

TEST(FrameMove, FillsTheWholeFrameWithZerosForOffsetsBeyondIt) {
    const Image source(5, 6, 1.0f);
    for (float huge : {5.0f, -5.0f, 1e5f, -1e9f, 3e38f, -std::numeric_limits<float>::infinity(), kNaN}) {
        Image target(5, 6, -7.0f);
        Point shift(0.0f, huge);
        shiftFrame(FrameSize{6, 5}, source.ptr<float>(), shift, target.ptr<float>());
        EXPECT_EQ(cv::countNonZero(target), 0) << huge;
    }
}

TEST(FrameMove, RefusesHalfTheHeightOnEitherAxis) {
    const FrameSize size{160, 120};
    std::vector<Image> frames = {Image(120, 160, 1.0f), Image(120, 160, 2.0f)};
    std::vector<Image> moved = {Image(120, 160, 0.0f), Image(120, 160, 0.0f)};
    const auto messageOf = [&](Point shift) {
        Point shifts[] = {{1.0f, 0.0f}, shift};
        std::vector<Point> complete;
        const std::string message =
            test::thrownBy([&] {
                moveToReferenceGrid(size, 2, test::pointers(frames).data(), shifts,
                                    test::pointers(moved).data(), complete, Unmoved::refusedOnly, kHere);
            }).message();
        EXPECT_EQ(complete[0], Point(1.0f, 0.0f));
        EXPECT_TRUE(complete[1] == shift || shift != shift);
        EXPECT_EQ(shifts[0], Point(0.0f, 0.0f));  // frames before the offending one have been moved
        return message;
    };
    for (const Point shift :
         {Point(60.0f, 0.0f), {0.0f, -60.0f}, {70.0f, 0.0f}, {kNaN, 0.0f}, {0.0f, kNaN}}) {
        EXPECT_EQ(messageOf(shift), "Too large displacement") << shift;
        EXPECT_TRUE(test::sameBits(moved[1], frames[1]));
    }
    EXPECT_EQ(messageOf({59.9f, -59.9f}), "(nothing thrown)");
}

}  // namespace oravo::vision::detail
