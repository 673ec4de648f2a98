#include "vision/superresolution/BadPixel.h"

#include <gtest/gtest.h>

#include "support/Exception.h"
#include "tests/vision/superresolution/BadPixelLists.h"

namespace oravo::vision {
namespace {

using Points = std::vector<cv::Point_<unsigned int>>;

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
