#include "vision/superresolution/detail/registration/CornerTracker.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/TestScenes.h"

namespace oravo::test {
namespace {

using vision::detail::CornerTracker;

/// The whole-pixel shift in x that is found from one frame to another.
int trackedShift(const Image& reference, const Image& frame) {
    CornerTracker tracker({reference.cols, reference.rows}, 2);
    tracker.prepareFrame(reference.ptr<float>());
    tracker.prepareFrame(frame.ptr<float>());
    tracker.extractCornersRefImage(0);
    cv::Point shift;
    EXPECT_EQ(tracker.registerWithCorners(0, 1, shift), 0);
    return shift.x;
}

/// Bright dots on a grid, one corner each, and where each is in the next frame.
struct Dots {
    Image reference, frame;
    Dots(int columns, int rows)
        : reference(30 * rows + 30, 30 * columns + 30, 20.0f), frame(reference.clone()) {}
    void add(int i, float height, int moves) {
        const int columns = reference.cols / 30 - 1;
        const int x = 30 * (i % columns) + 30, y = 30 * (i / columns) + 30;
        reference(y, x) += height;
        frame(y, x + moves) += height;
    }
};

TEST(CornerTracker, IntensityRangeLastsUntilAFrameLeavesIt) {
    const Scene scene(8, 60, 80);
    const Image reference = scene.frame(60, 80), frame = scene.frame(60, 80, {3, -2});
    const auto codeAfter = [&](double factor, double offset) {
        CornerTracker tracker({80, 60}, 3);
        for (const Image& image : {linear(reference, factor, offset), reference, frame}) {
            tracker.prepareFrame(image.ptr<float>());
        }
        tracker.extractCornersRefImage(1);
        cv::Point shift;
        const int code = tracker.registerWithCorners(1, 2, shift);
        EXPECT_EQ(shift, code == 0 ? cv::Point(3, -2) : cv::Point(0, 0));
        return code;
    };
    EXPECT_EQ(codeAfter(1, 0), 0);
    EXPECT_EQ(codeAfter(1e5, -20e5), -9);  // within the wide range, the scene is one grey level
    EXPECT_EQ(codeAfter(1e5, 9e6), 0);     // below it, the scene sets its own
}

TEST(CornerTracker, FollowsTheHundredStrongestCorners) {
    // The median lies with the majority of them: with 50 corners among those that stay, with 200 among those that
    // move to the left.
    Dots dots(20, 10);
    for (int i = 0; i < 200; ++i) {
        const int rank = i < 45 ? 0 : i < 100 ? 1 : 2;
        dots.add(i, 1000.0f - 150.0f * static_cast<float>(rank),
                 std::vector<int>{0, 3, -3}[static_cast<std::size_t>(rank)]);
    }
    EXPECT_EQ(trackedShift(dots.reference, dots.frame), 3);
}

TEST(CornerTracker, AveragesWhatLiesWithinTwoPixelsOfTheMedian) {
    // Four of ten corners move; six stay, and the median with them.
    for (const auto& [moves, expected] : {std::pair(1, 0), {2, 1}, {3, 0}}) {
        Dots dots(5, 2);
        for (int i = 0; i < 10; ++i) dots.add(i, 1000.0f, i < 4 ? moves : 0);
        EXPECT_EQ(trackedShift(dots.reference, dots.frame), expected) << moves;
    }
}

TEST(CornerTracker, FollowsCornersAsFarAsWindowAndLevelsReach) {
    // A smaller window or fewer levels lose the corners at 60 pixels, a larger window loses them at 50, since images
    // must be larger than it at each level.
    const Scene scene(4, 200, 200, 9.0);
    const Image reference = scene.frame(200, 200);
    for (const int shift : {50, 60}) {
        EXPECT_EQ(trackedShift(reference, scene.frame(200, 200, {static_cast<float>(shift), 0})), shift);
    }
}

}  // namespace
}  // namespace oravo::test
