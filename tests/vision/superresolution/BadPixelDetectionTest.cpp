#include "vision/superresolution/BadPixel.h"

#include <gtest/gtest.h>

#include "tests/plain/PlainBadPixel.h"
#include "tests/vision/superresolution/BadPixelLists.h"

namespace oravo::vision {
namespace {

struct Search {
    cv::Mat_<int> histogram;
    List list;
    bool run(const cv::Mat_<short>& image, int capacity, int lo, int hi, int maxCount, int span) {
        list = region<ushort>(capacity, 10);
        EXPECT_TRUE(
            BadPixel::buildValueHistogram(image, histogram, static_cast<short>(lo), static_cast<short>(hi)));
        return BadPixel::performNeighbourSearch(image, histogram, list, static_cast<short>(lo),
                                                static_cast<short>(hi), static_cast<ushort>(maxCount),
                                                static_cast<ushort>(span));
    }
};

TEST(BadPixelHistogram, CollectsWhatIsOutOfRangeInItsEnds) {
    cv::Mat_<short> image = region<short>(1, 6);
    cv::Mat_<short>((cv::Mat_<short>(1, 6) << -3, 0, 1, 4, 9, 9)).copyTo(image);
    cv::Mat_<int> histogram(2, 2, 5);
    EXPECT_FALSE(BadPixel::buildValueHistogram(image, histogram, 4, 4));
    EXPECT_FALSE(BadPixel::buildValueHistogram(cv::Mat_<short>(), histogram, 0, 4));
    EXPECT_TRUE(same(histogram, cv::Mat_<int>(2, 2, 5)));
    ASSERT_TRUE(BadPixel::buildValueHistogram(image, histogram, 0, 4));
    EXPECT_TRUE(same(histogram, (cv::Mat_<int>(1, 5) << 2, 1, 0, 0, 3)));
    ASSERT_TRUE(BadPixel::buildValueHistogram(image, histogram, -32768, 32767));
    EXPECT_EQ(histogram.cols, 65536);
}

TEST(BadPixelSearch, EqualsOneVisitPerIsolatedValue) {
    cv::RNG rng(11);
    int failures = 0;
    int listed = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        cv::Mat_<short> image = region<short>(rng.uniform(1, 7), rng.uniform(1, 7));
        const int centre = trial % 3 == 0 ? rng.uniform(-32768, 32768) : rng.uniform(-40, 40);
        const int spread = rng.uniform(2, 60);
        for (short& v : image) v = cv::saturate_cast<short>(centre + rng.uniform(-spread, spread));
        int lo = std::max(centre - rng.uniform(1, 70), -32768);
        int hi = std::min(centre + rng.uniform(1, 70), 32767);
        if (trial % 100 == 0) {
            lo = -32768;
            hi = 32767;
        }
        const int capacity = rng.uniform(0, 3) == 0 ? 65536 + rng.uniform(0, 4) : rng.uniform(0, 37);
        const int maxCount = rng.uniform(1, 6);
        const int span = rng.uniform(2, 2 + (2 << rng.uniform(0, 7)));
        SCOPED_TRACE(testing::Message() << "trial " << trial);
        Search search;
        const bool success = search.run(image, capacity, lo, hi, maxCount, span);
        List expected(capacity, 10);
        cv::Mat_<int> histogram;
        BadPixel::buildValueHistogram(image, histogram, static_cast<short>(lo), static_cast<short>(hi));
        ASSERT_EQ(success, plain::neighbourSearch(image, histogram, expected, lo, hi, maxCount, span));
        ASSERT_TRUE(same(search.list, expected)) << search.list << expected;
        ASSERT_TRUE(same(search.histogram, histogram));
        failures += success ? 0 : 1;
        listed += search.list.rows;
    }
    EXPECT_GT(failures, 250);
    EXPECT_LT(failures, 1750);
    EXPECT_GT(listed, 2000);
}

TEST(BadPixelSearch, ListsIsolatedValuesUntilTheListIsFull) {
    cv::Mat_<short> image = region<short>(7, 9);
    for (int i = 0; i < 63; ++i) image(i / 9, i % 9) = static_cast<short>(i % 51);
    image(2, 5) = 1000;
    Search search;
    ASSERT_TRUE(search.run(image, 4, -1, 2000, 2, 4));
    EXPECT_EQ(search.list.rows, 1);
    EXPECT_EQ(row(search.list, 0), (std::vector<int>{5, 2, 9, 7, 0, 0, 0, 0, 0, 0}));
    // The list filled before the last pixel: kept, but a failure. At the last pixel it is none.
    EXPECT_FALSE(search.run(image, 1, -1, 2000, 2, 4));
    EXPECT_EQ(search.list.rows, 1);
    image(6, 8) = 1000;
    EXPECT_TRUE(search.run(image, 2, -1, 2000, 3, 4));
    EXPECT_TRUE(search.run(image, 3, -1, 2000, 2, 4)) << "a bin that reaches maxCount is not isolated";
    EXPECT_TRUE(search.list.empty());
    EXPECT_EQ(search.list.type(), CV_16UC1);
    EXPECT_FALSE(search.run(image, 1, 0, 1000, 2, 4)) << "more out of range than rows";
    EXPECT_TRUE(search.list.empty());
}

TEST(BadPixelSearch, RefusesWithoutTouching) {
    const cv::Mat_<short> image(3, 3, static_cast<short>(5));
    cv::Mat_<int> histogram;
    ASSERT_TRUE(BadPixel::buildValueHistogram(image, histogram, 0, 9));
    const cv::Mat_<int> before = histogram.clone();
    List list(4, 10, ushort{7});
    List narrow(4, 9, ushort{7});
    cv::Mat_<int> none;
    const cv::Mat_<short> wide(1, 65536, static_cast<short>(5));
    EXPECT_FALSE(BadPixel::performNeighbourSearch(image, none, list, 0, 9, 2, 4));
    EXPECT_FALSE(BadPixel::performNeighbourSearch(image, histogram, list, 0, 9, 0, 4));
    EXPECT_FALSE(BadPixel::performNeighbourSearch(image, histogram, list, 0, 9, 2, 1));
    EXPECT_FALSE(BadPixel::performNeighbourSearch(image, histogram, narrow, 0, 9, 2, 4));
    EXPECT_FALSE(BadPixel::performNeighbourSearch(wide, histogram, list, 0, 9, 2, 4));
    EXPECT_TRUE(same(histogram, before));
    EXPECT_TRUE(same(list, List(4, 10, ushort{7})) && same(narrow, List(4, 9, ushort{7})));
    histogram = (cv::Mat_<int>(1, 7) << 0, 3, -9, 0, 0, 0, 0);
    EXPECT_FALSE(BadPixel::performNeighbourSearch(image, histogram, list, 0, 6, 2, 2)) << "a sum below zero";
}

}  // namespace
}  // namespace oravo::vision
