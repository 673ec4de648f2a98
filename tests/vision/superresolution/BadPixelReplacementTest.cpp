#include "vision/superresolution/BadPixel.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "support/Exception.h"
#include "tests/plain/PlainBadPixel.h"
#include "tests/vision/superresolution/BadPixelLists.h"

namespace oravo::vision {
namespace {

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

}  // namespace
}  // namespace oravo::vision
