#include "vision/superresolution/BadPixel.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "support/Exception.h"
#include "tests/plain/PlainBadPixel.h"

namespace oravo::vision {
namespace {

using List = cv::Mat_<ushort>;
using Points = std::vector<cv::Point_<unsigned int>>;
const cv::Size kSize(9, 7);

/// A matrix that is a region of a larger one (OpenCV makes no region of 0 rows that keeps its columns).
template <class T>
cv::Mat_<T> region(int rows, int cols) {
    if (rows == 0) return cv::Mat_<T>(0, cols);
    return cv::Mat_<T>(cv::Mat_<T>(rows + 3, cols + 5, static_cast<T>(7)), cv::Rect(2, 1, cols, rows));
}

List listOf(std::initializer_list<cv::Point> positions, cv::Size size = kSize) {
    List list = region<ushort>(static_cast<int>(positions.size()), 10);
    list = 0;
    int i = 0;
    for (const cv::Point& p : positions) {
        const int row[] = {p.x, p.y, size.width, size.height};
        for (int c = 0; c < 4; ++c) list(i, c) = static_cast<ushort>(row[c]);
        ++i;
    }
    return list;
}

bool same(const cv::Mat& a, const cv::Mat& b) {
    if (a.size() != b.size() || a.type() != b.type()) return false;
    return a.empty() || cv::norm(a, b, cv::NORM_INF) == 0;
}

std::vector<int> row(const List& list, int i) {
    return std::vector<int>(list[i], list[i] + 10);
}

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

TEST(BadPixelRecord, KeepsItsRowAndColumnOrders) {
    BadPixel pixel(7, 3, {{1, 2}}, {4, 4});
    EXPECT_EQ(pixel.pos(), cv::Point_<unsigned int>(3, 7));
    pixel.set(pixel.pos());
    EXPECT_EQ(pixel.pos(), cv::Point_<unsigned int>(7, 3));
    unsigned int y = 0;
    unsigned int x = 0;
    pixel.pos(y, x);
    EXPECT_EQ((std::vector<unsigned int>{y, x, pixel.x()}), (std::vector<unsigned int>{3, 7, 7}));
    pixel.addReplacementPixel({5, 6});
    pixel.addReplacementPixel(5, 6);
    EXPECT_EQ(pixel.getReplacementPixels(), (Points{{1, 2}, {5, 6}, {6, 5}}));
    pixel.addDefectReasons({9, 4, 9, 2});
    EXPECT_EQ(pixel.retrieveDefectReasons(), (std::vector<ushort>{4, 4, 9, 2}));
    const BadPixel copy = pixel;
    pixel.clearReplacements();
    EXPECT_EQ(pixel.getNumberOfReplacementPixels(), 0U);
    EXPECT_EQ(copy.getNumberOfReplacementPixels(), 3U);
    EXPECT_EQ(BadPixel().pos(), cv::Point_<unsigned int>(0, 0));
}

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

TEST(BadPixelReplacement, QueryEqualsTheDefiningLoops) {
    for (const int n : {-2, 0, 1, 2, 3, 4, 7, 20}) {
        EXPECT_EQ(BadPixel::computeReplacePixelQuery(n), plain::replacePixelQuery(n)) << n;
    }
    const auto query = BadPixel::computeReplacePixelQuery(2);
    const std::multimap<float, cv::Point> expected{
        {0.f, {0, 1}}, {1.f, {1, 1}}, {1.f, {-1, 1}}, {1.f, {0, 2}}};
    EXPECT_EQ(query[0], expected);
}

TEST(BadPixelReplacement, QueryBeyondTheMachineIsRefused) {
    EXPECT_THROW(BadPixel::computeReplacePixelQuery(90000), Exception);  // would take 3 TB
    EXPECT_THROW(BadPixel::computeReplacePixelQuery(2147483647), Exception);
}

TEST(BadPixelReplacement, EqualsThePassesOverTheDirections) {
    cv::RNG rng(5);
    int failures = 0;
    for (int trial = 0; trial < 400; ++trial) {
        const int n = rng.uniform(0, 6);
        List list = listOf({}, kSize);
        List more = listOf({}, kSize);
        for (int round = 0; round < 3; ++round) {
            more = region<ushort>(rng.uniform(0, 14), 10);
            for (int i = 0; i < more.rows; ++i) {
                const bool fresh = rng.uniform(0, 2) == 0;
                for (int c = 0; c < 10; c += 2) {
                    const int margin = c > 0 && fresh ? 1 : (trial % 4 == 0 ? 1 : 0);
                    more(i, c) = static_cast<ushort>(rng.uniform(0, kSize.width + margin));
                    more(i, c + 1) = static_cast<ushort>(rng.uniform(0, kSize.height + margin));
                }
            }
            List expected = list.clone();
            plain::append(more, expected, kSize, n);
            cv::Mat appended = list;
            ASSERT_TRUE(BadPixel::appendBadPixel(more, appended, kSize, static_cast<unsigned int>(n)));
            ASSERT_TRUE(same(appended, expected.rows > 0 ? expected : appended)) << appended << expected;
            ASSERT_EQ(appended.rows, list.rows + more.rows);
            list = appended;
        }
        List expected = list.clone();
        bool all = true;
        for (int i = 0; i < list.rows; ++i) {
            all = plain::chooseReplacements(expected, i, kSize, plain::replacePixelQuery(n)) && all;
        }
        List single = list.clone();
        ASSERT_EQ(BadPixel::calculateReplacePixels(list, kSize, static_cast<unsigned int>(n)), all);
        ASSERT_TRUE(same(list, expected));
        std::set<unsigned int> positions;
        const auto query = BadPixel::computeReplacePixelQuery(n);
        for (int i = 0; i < single.rows; ++i) {
            BadPixel::calculateSingleReplacePixel(single, static_cast<ushort>(i), kSize, query, positions);
        }
        ASSERT_TRUE(same(single, expected));
        failures += all ? 0 : 1;
    }
    EXPECT_GT(failures, 40);
    EXPECT_LT(failures, 360);
}

TEST(BadPixelReplacement, ChoosesKnownPixels) {
    using Row = std::vector<int>;
    List list = listOf({{4, 3}, {0, 0}, {4, 4}});
    ASSERT_TRUE(BadPixel::calculateSingleReplacePixel(list, 1, kSize, 1));
    EXPECT_EQ(row(list, 1), (Row{0, 0, 0, 1, 1, 0, 0, 1, 1, 0}));
    ASSERT_TRUE(BadPixel::calculateSingleReplacePixel(list, 0, kSize, 2));
    EXPECT_EQ(row(list, 0), (Row{4, 3, 3, 3, 4, 2, 5, 3, 5, 4})) << "the listed one below gives way";
    List lone = listOf({{4, 3}});
    ASSERT_TRUE(BadPixel::calculateReplacePixels(lone, kSize, 1));
    EXPECT_EQ(row(lone, 0), (Row{4, 3, 4, 4, 3, 3, 4, 2, 5, 3}));
    ASSERT_TRUE(BadPixel::calculateSingleReplacePixel(lone, 0, kSize, 3));
    EXPECT_EQ(row(lone, 0), (Row{4, 3, 4, 2, 5, 3, 4, 4, 3, 3})) << "3 selects the table";
    // Upper left corner, the neighbour to the right listed: up and left are blocked.
    List corner = listOf({{0, 0}, {1, 0}});
    ASSERT_TRUE(BadPixel::calculateSingleReplacePixelSimpleNhood(corner, 0, kSize));
    EXPECT_EQ(row(corner, 0), (Row{0, 0, 2, 0, 2, 0, 0, 1, 2, 0}));
    // The corner again, walled in: the last offsets of the table are not enough.
    List walled = listOf({{0, 0}, {1, 0}, {2, 0}, {3, 0}, {0, 1}, {1, 1}, {2, 1}, {0, 2}, {1, 2}, {0, 3}});
    const List before = walled.clone();
    EXPECT_FALSE(BadPixel::calculateSingleReplacePixelSimpleNhood(walled, 0, kSize));
    EXPECT_TRUE(same(walled, before));
    // A radius beyond every image costs and changes nothing.
    List far = listOf({{4, 3}, {0, 0}, {4, 4}});
    List farther = far.clone();
    EXPECT_TRUE(BadPixel::calculateReplacePixels(far, kSize, 2000000000U));
    EXPECT_TRUE(BadPixel::calculateReplacePixels(farther, kSize, 30));
    EXPECT_TRUE(same(far, farther));
}

TEST(BadPixelReplacement, TheTableReachesTheSevenNearestPixelsOfEachSide) {
    // Around the bad pixel B in the middle: a pixel alone among listed ones replaces B where this map has an X.
    const std::vector<std::string> reach = {"...X...", "..XXX..", ".XXXXX.", "XXXBXXX",
                                            ".XXXXX.", "..XXX..", "...X..."};
    int reached = 0;
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 7; ++x) {
            List list = listOf({{3, 3}});
            for (int i = 0; i < 49; ++i) {
                if (i != 7 * y + x && i != 7 * 3 + 3) list.push_back(listOf({{i % 7, i / 7}}));
            }
            const bool expected = reach[static_cast<std::size_t>(y)][static_cast<std::size_t>(x)] == 'X';
            ASSERT_EQ(BadPixel::calculateSingleReplacePixelSimpleNhood(list, 0, {7, 7}), expected)
                << x << ' ' << y;
            for (int c = 2; c < 10 && expected; c += 2) {
                EXPECT_EQ(cv::Point(list(0, c), list(0, c + 1)), cv::Point(x, y));
            }
            reached += expected ? 1 : 0;
        }
    }
    EXPECT_EQ(reached, 24);  // the diagonal neighbours and those beside the axes stand in the table twice
}

TEST(BadPixelReplacement, RefusesWhatIsNoListRowOrSize) {
    const auto query = BadPixel::computeReplacePixelQuery(1);
    struct Case {
        int rows, cols, row;
        cv::Size size;
    };
    for (const Case& c : {Case{2, 9, 0, kSize}, Case{2, 11, 0, kSize}, Case{2, 10, 2, kSize},
                          Case{0, 10, 0, kSize}, Case{2, 10, 0, {-4, 5}}, Case{2, 10, 0, {4, 65536}}}) {
        List list(c.rows, c.cols, ushort{1});
        const auto i = static_cast<ushort>(c.row);
        EXPECT_FALSE(BadPixel::calculateSingleReplacePixel(list, i, c.size, query));
        EXPECT_FALSE(BadPixel::calculateSingleReplacePixel(list, i, c.size, 2));
        EXPECT_FALSE(BadPixel::calculateSingleReplacePixelSimpleNhood(list, i, c.size));
        const bool rowAlone = c.rows == 0 || c.row > 0;
        EXPECT_EQ(BadPixel::calculateReplacePixels(list, c.size, 2), rowAlone);
        cv::Mat running = listOf({{1, 1}});
        EXPECT_EQ(BadPixel::appendBadPixel(list, running, c.size, 2), rowAlone);
        EXPECT_EQ(running.rows, rowAlone ? 1 + c.rows : 1);
    }
    List list = listOf({{1, 1}});
    EXPECT_FALSE(BadPixel::calculateSingleReplacePixel(list, 0, kSize, {query[0], query[1]}));
    EXPECT_FALSE(BadPixel::calculateReplacePixels(list, kSize, 0xFFFFFFFFU));
    static_cast<cv::Mat&>(list) = cv::Mat::zeros(1, 10, CV_8U);
    EXPECT_FALSE(BadPixel::calculateReplacePixels(list, kSize, 1));
}

TEST(BadPixelList, AppendingNothingLeavesTheListAlone) {
    cv::Mat list = listOf({{1, 1}});
    const cv::Mat before = list.clone();
    EXPECT_TRUE(BadPixel::appendBadPixel(List(), list, kSize, 2));
    EXPECT_FALSE(BadPixel::appendBadPixel(cv::Mat::zeros(1, 10, CV_8U), list, kSize, 2));
    EXPECT_TRUE(same(list, before));
    cv::Mat wrong = cv::Mat::zeros(1, 9, CV_16U);
    EXPECT_FALSE(BadPixel::appendBadPixel(before, wrong, kSize, 2));
    cv::Mat none;
    EXPECT_TRUE(BadPixel::appendBadPixel(List(0, 10), none, kSize, 2));
    EXPECT_EQ(none.type(), CV_16UC1);
    EXPECT_EQ(none.cols, 10);
}

TEST(BadPixelList, RepairsInOrderAndGoesOnAfterAFailure) {
    cv::Mat_<short> image = region<short>(kSize.height, kSize.width);
    image = 10;
    image(0, 0) = 0;
    image(0, 1) = image(0, 2) = image(0, 3) = -1;
    List list = (List(3, 10) << 5, 5, 1, 0, 2, 0, 3, 0, 0, 0,  //
                 6, 6, 1, 0, 2, 0, 9, 0, 0, 0,                 //
                 4, 4, 5, 5, 1, 1, 1, 1, 1, 1);
    EXPECT_FALSE(BadPixel::removeBadPixel(image, list));
    EXPECT_EQ(image(5, 5), 0) << "-3 / 4 toward zero";
    EXPECT_EQ(image(6, 6), 10);
    EXPECT_EQ(image(4, 4), 7) << "uses the repaired 0";
    list(1, 6) = 8;
    EXPECT_TRUE(BadPixel::removeBadPixel(image, list));
    EXPECT_EQ(image(6, 6), (10 - 1 - 1 + 0) / 4);
    cv::Mat_<short> none;
    EXPECT_FALSE(BadPixel::removeBadPixel(none, List()));
    EXPECT_TRUE(BadPixel::removeBadPixel(image, List()));
    EXPECT_FALSE(BadPixel::removeBadPixel(image, List(1, 9, ushort{0})));
}

std::string drawingError(const cv::Mat& list, cv::Mat_<cv::Vec3b>& image) {
    try {
        BadPixel::drawBadPixels(list, image, cv::Scalar(1, 2, 3), 2, false);
    } catch (const Exception& error) {
        EXPECT_EQ(error.location().find("vision/superresolution/BadPixel: "), 0U);
        EXPECT_NE(error.location().find(": oravo::vision::BadPixel::drawBadPixels(..)\n"), std::string::npos);
        return error.message();
    }
    return {};
}

TEST(BadPixelDrawing, OutlinesSquares) {
    cv::Mat_<cv::Vec3b> image = region<cv::Vec3b>(kSize.height, kSize.width);
    image = cv::Vec3b();
    const cv::Vec3b colour(1, 2, 3);
    EXPECT_EQ(drawingError(listOf({}), image), "");
    BadPixel::drawBadPixels(listOf({{4, 3}}), image, cv::Scalar(1, 2, 3), 3, false);
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            const int distance = std::max(std::abs(x - 4), std::abs(y - 3));
            EXPECT_EQ(image(y, x), distance == 1 ? colour : cv::Vec3b()) << x << "," << y;
        }
    }
    image = cv::Vec3b();
    for (const unsigned int size : {0U, 100000U, 0xFFFFFFFFU}) {
        BadPixel::drawBadPixels(listOf({{4, 3}}), image, cv::Scalar(1, 2, 3), size, false);
    }
    EXPECT_EQ(cv::sum(image), cv::Scalar());
    cv::theRNG().state = 42;
    BadPixel::drawBadPixels(listOf({{4, 3}, {0, 0}}), image, cv::Scalar(1, 2, 3), 1, true);
    cv::RNG rng;
    rng.state = 42;
    for (const cv::Point& p : {cv::Point(4, 3), cv::Point(0, 0)}) {
        for (int channel = 0; channel < 3; ++channel) EXPECT_EQ(image(p)[channel], rng.next() % 256);
    }
    EXPECT_EQ(drawingError(listOf({{1, 1}, {9, 2}}), image), "ERROR: \t >>BadPixel [2,9] out of bounds ");
    EXPECT_EQ(image(1, 1), colour) << "drawn before the failure";
    EXPECT_EQ(drawingError(List(1, 9), image), "ERROR: \t >>Unspported BadPixel format!!");
    EXPECT_EQ(drawingError(cv::Mat::zeros(1, 10, CV_16S), image), "ERROR: \t >>Unspported BadPixel format!!");
}

}  // namespace
}  // namespace oravo::vision
