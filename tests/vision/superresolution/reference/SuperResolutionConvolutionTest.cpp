#include "vision/superresolution/reference/SuperResolutionConvolution.h"

#include <gtest/gtest.h>

#include "tests/TestScenes.h"
#include "tests/plain/PlainOperators.h"
#include "vision/superresolution/SrFloatConvolution.h"

namespace oravo::test {
namespace {

using vision::SrFloatConvolution;
using vision::SuperResolutionConvolution;

template <class Convolution>
std::pair<std::vector<float>, std::vector<float>> bothOperators(const plain::SparseOperators& p,
                                                                Convolution& convolution) {
    const std::vector<float> low = randomVector(p.lowWidth() * p.lowHeight(), 1);
    const std::vector<float> extended = randomVector(p.extendedWidth() * p.extendedHeight(), 2);
    const std::vector<float> h = randomVector(p.kw, 3), v = randomVector(p.kh, 4);
    std::vector<char> mask(low.size());
    for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = static_cast<char>(i % 3 == 0 ? 0 : 1);
    std::pair<std::vector<float>, std::vector<float>> out{std::vector<float>(extended.size(), 7.0f),
                                                          std::vector<float>(low.size(), 7.0f)};
    convolution.fullConvFromSparse(low.data(), h.data(), v.data(), mask.data(), out.first.data());
    convolution.validCorrToSparse(extended.data(), h.data(), v.data(), out.second.data());
    return out;
}

TEST(SuperResolutionConvolution, RowsFollowTheFactor) {
    for (const float f : {1.0f, 1.5f, 2.0f, 2.5f, 3.0f}) {
        const int taps = static_cast<int>(3.0f * f);
        for (const int size : {2, 3, 10, 15, 17}) {
            SCOPED_TRACE(::testing::Message() << size << ", factor " << f);
            const plain::SparseOperators twin{size, 24 - size, taps, taps, f, true};
            SuperResolutionConvolution fast(twin.W, twin.H, taps, taps, f);
            const auto actual = bothOperators(twin, fast);
            EXPECT_EQ(actual, bothOperators(twin, twin));
            SrFloatConvolution fixedRows(twin.W, twin.H, taps, taps, f);
            // Fewer than two rows of samples show no difference.
            if (twin.lowHeight() > 1 && twin.lowWidth() > 1) {
                EXPECT_EQ(actual == bothOperators(twin, fixedRows), f == 2.0f);
            }
        }
    }
    // One sample per row of two columns, seen through kernels of one tap: at factor 3 it lies on rows 0 and
    // 3; at 1.5 the second begins 2 + trunc(0.5 * 2) elements after the first, at column 1 of row 1.
    const float one[] = {1.0f}, low[] = {5, 6, 7, 8};
    const char mask[] = {1, 1, 1, 1};
    std::vector<float> out(36);
    SuperResolutionConvolution(6, 6, 1, 1, 3.0f).fullConvFromSparse(low, one, one, mask, out.data());
    EXPECT_EQ(out[0], 5.0f);
    EXPECT_EQ(out[3], 6.0f);
    EXPECT_EQ(out[3 * 6], 7.0f);
    EXPECT_EQ(out[3 * 6 + 3], 8.0f);
    std::vector<float> between(9);
    SuperResolutionConvolution(3, 3, 1, 1, 1.5f).fullConvFromSparse(low, one, one, mask, between.data());
    EXPECT_EQ(between, (std::vector<float>{5, 6, 0, 0, 7, 0, 8, 0, 0}));
}

TEST(SuperResolutionConvolution, SameConvOnesIsTheMeanFilter) {
    for (const cv::Size size : {cv::Size(1, 1), {1, 9}, {9, 1}, {7, 8}, {16, 33}}) {
        for (const int radius : {0, 1, 3, 10}) {
            const Image image = randomImage(size.height, size.width, 5, -50.0f, 80.0f);
            Image expected, filtered(size);
            SrFloatConvolution::blurImageMeanFilter(image, radius, expected);
            SuperResolutionConvolution convolution(size.width, size.height, 1, 1, 2.0f);
            convolution.sameConvOnes(image.ptr<float>(), radius, filtered.ptr<float>());
            EXPECT_TRUE(sameBits(filtered, expected)) << size << ' ' << radius;
        }
    }
    const Exception thrown = thrownBy([] { SuperResolutionConvolution(4, 4, 0, 6, 2.0f); });
    EXPECT_EQ(thrown.message(), "Invalid kernel size 0 x 6 specified.");
    EXPECT_EQ(thrown.location().rfind("vision/superresolution/reference/SuperResolutionConvolution: ", 0),
              0U);
}

}  // namespace
}  // namespace oravo::test
