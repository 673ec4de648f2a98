#include "vision/superresolution/detail/calibration/TwoPointCalibration.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/TestScenes.h"

namespace oravo::test {
namespace {

TEST(TwoPointCalibration, RepairsWhatLiesOnOrBeyondItsBounds) {
    const auto calibrated = [](const cv::Mat_<short>& k1, const Image& r1, const cv::Mat_<short>& k2,
                               const Image& r2) {
        return vision::detail::TwoPointCalibration(k1, r1, k2, r2, {"here", 1, "test"});
    };
    // A dead pixel among four good ones takes their mean; alone it has none.
    cv::Mat_<short> k1(3, 3, short(0)), k2(3, 3, short(10));
    Image r1(3, 3, 5.0f), r2(3, 3, 25.0f);
    r2(0, 1) = 45.0f;
    k2(1, 1) = 0;
    const auto centre = calibrated(k1, r1, k2, r2);
    EXPECT_EQ(centre.gain(0, 0), 2.0f);
    EXPECT_EQ(centre.gain(1, 1), 2.5f);
    EXPECT_EQ(centre.offset(1, 1), 5.0f);
    const cv::Rect single(1, 1, 1, 1);
    const auto alone = calibrated(k1(single), r1(single), k2(single), r2(single));
    EXPECT_TRUE(std::isnan(alone.gain(0, 0)));
    EXPECT_TRUE(std::isnan(alone.offset(0, 0)));

    // In place and in scan order: a repaired value serves the next one, a NaN serves none and stays. The
    // bounds themselves are outside.
    const float nan = std::nanf("");
    Image row = (Image(1, 6) << 4.0f, 1000.0f, 2000.0f, nan, -1000.0f, 999.0f);
    vision::detail::repairOutliers(row, -1000.0f, 1000.0f);
    EXPECT_TRUE(sameBits(row, (Image(1, 6) << 4.0f, 4.0f, 4.0f, nan, 999.0f, 999.0f)));
    Image bound = (Image(1, 3) << 2000.0f, 1000.0f, 4.0f);
    vision::detail::repairOutliers(bound, -1000.0f, 1000.0f);
    EXPECT_TRUE(sameBits(bound, (Image(1, 3) << nan, 4.0f, 4.0f)));
    Image lost = (Image(1, 3) << 2000.0f, nan, 3.0f);
    vision::detail::repairOutliers(lost, -1000.0f, 1000.0f);
    EXPECT_TRUE(sameBits(lost, (Image(1, 3) << nan, nan, 3.0f)));
}

}  // namespace
}  // namespace oravo::test
