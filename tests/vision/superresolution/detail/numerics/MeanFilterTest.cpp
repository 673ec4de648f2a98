#include "vision/superresolution/detail/numerics/MeanFilter.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/TestScenes.h"
#include "tests/plain/PlainOperators.h"
#include "vision/superresolution/SrFloatConvolution.h"

namespace oravo::test {
namespace {

using vision::SrFloatConvolution;

TEST(MeanFilter, IsTheMeanOverTheCutWindow) {
    for (const cv::Size size : {cv::Size(1, 1), {1, 9}, {9, 1}, {3, 3}, {7, 8}, {17, 5}, {16, 33}}) {
        for (int radius : {0, 1, 3, 4, 10, 1000000}) {
            Image parent = randomImage(size.height + 3, size.width + 2, 5, -50.0f, 80.0f);
            Image source = parent(cv::Rect({1, 2}, size));  // a region: its rows are not contiguous
            const cv::Mat_<double> mean = plain::windowMean(source, radius);
            // Per pass: 2 n additions of at most 2 r + 1 pixels, over at least r + 1 of them, and a division,
            // each good to 2^-24.
            const double bound = (4.0 * (size.width + size.height) + 8.0) * std::ldexp(80.0, -24);
            Image result;
            cv::Mat wide;
            SrFloatConvolution::blurImageMeanFilter(source, radius, result);
            result.convertTo(wide, CV_64F);
            EXPECT_LE(cv::norm(wide, mean, cv::NORM_INF), bound) << size << ' ' << radius;
            EXPECT_TRUE(radius > 0 || sameBits(result, source)) << size;

            SrFloatConvolution::blurImageMeanFilter(source, radius, source);
            EXPECT_TRUE(sameBits(result, source)) << "in place " << size << ' ' << radius;

            SrFloatConvolution::blurImageMeanFilter(Image(size, 3.0f), radius, result);
            EXPECT_LE(largestDifference(result, Image(size, 3.0f)), std::ldexp(3.0, -21));
        }
    }
    Image image(2, 2, 1.0f);
    EXPECT_EQ(thrownBy([&] { SrFloatConvolution::blurImageMeanFilter(image, -1, image); }).message(),
              "Invalid mean filter radius -1 specified.");
}

}  // namespace
}  // namespace oravo::test
