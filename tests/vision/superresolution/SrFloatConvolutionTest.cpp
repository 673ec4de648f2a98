#include "vision/superresolution/SrFloatConvolution.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/TestScenes.h"
#include "tests/plain/PlainOperators.h"

namespace oravo::vision {
namespace {

using test::Image;
using test::randomVector;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

struct Case {
    int W, H, kw, kh;
    float f;
};

/// One of everything that a pair of operators needs.
struct Setting {
    plain::SparseOperators plain;
    SrFloatConvolution fast;
    int lowPixels, extendedPixels;
    std::vector<float> low, extended, h, v, lowOut, extendedOut, plainLow, plainExtended;

    explicit Setting(const Case& c)
        : plain{c.W, c.H, c.kw, c.kh, c.f},
          fast(c.W, c.H, c.kw, c.kh, c.f),
          lowPixels(plain.lowWidth() * plain.lowHeight()),
          extendedPixels(plain.extendedWidth() * plain.extendedHeight()),
          low(randomVector(lowPixels, 1)),
          extended(randomVector(extendedPixels, 2)),
          h(randomVector(c.kw, 3)),
          v(randomVector(c.kh, 4)),
          lowOut(low.size(), 7.0f),
          extendedOut(extended.size(), 7.0f),
          plainLow(low.size()),
          plainExtended(extended.size()) {}

    ::testing::AssertionResult agree(const std::vector<char>& mask) {
        fast.fullConvFromSparse(low.data(), h.data(), v.data(), mask.data(), extendedOut.data());
        plain.fullConvFromSparse(low.data(), h.data(), v.data(), mask.data(), plainExtended.data());
        if (!test::sameBits(extendedOut.data(), plainExtended.data(), extended.size())) {
            return ::testing::AssertionFailure() << "fullConvFromSparse differs from its twin";
        }
        fast.validCorrToSparse(extended.data(), h.data(), v.data(), lowOut.data());
        plain.validCorrToSparse(extended.data(), h.data(), v.data(), plainLow.data());
        if (!test::sameBits(lowOut.data(), plainLow.data(), low.size())) {
            return ::testing::AssertionFailure() << "validCorrToSparse differs from its twin";
        }
        return ::testing::AssertionSuccess();
    }
};

std::vector<Case> cases() {
    std::vector<Case> all;
    for (float f : {1.0f, 1.5f, 2.0f, 2.5f, 3.0f}) {
        const int taps = static_cast<int>(3.0f * f);
        for (int size : {1, 2, 3, 15, 16, 17, 31, 33}) {
            all.push_back({size, 40 - size, taps, taps, f});
            all.push_back({2 * size, size, taps, 2, f});
        }
    }
    return all;
}

}  // namespace

TEST(SrFloatConvolution, BothOperatorsHaveTheBitsOfTheirTwins) {
    constexpr signed char kMaskValues[] = {0, 1, 1, -1, 127, -128};
    for (const Case& c : cases()) {
        SCOPED_TRACE(::testing::Message()
                     << c.W << " x " << c.H << ", taps " << c.kw << ", " << c.kh << ", factor " << c.f);
        Setting setting(c);
        std::vector<char> mask(setting.low.size());
        for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = static_cast<char>(kMaskValues[i * 7 % 6]);
        EXPECT_TRUE(setting.agree(mask));
    }
}

TEST(SrFloatConvolution, OperatorsAreTransposesOfEachOther) {
    for (const Case& c : cases()) {
        Setting s(c);
        const std::vector<char> ones(s.low.size(), 1);
        ASSERT_TRUE(s.agree(ones));
        double left = 0.0, right = 0.0, scale = 0.0;
        for (std::size_t i = 0; i < s.low.size(); ++i) left += double{s.lowOut[i]} * double{s.low[i]};
        for (std::size_t i = 0; i < s.extended.size(); ++i) {
            right += double{s.extendedOut[i]} * double{s.extended[i]};
            scale += std::abs(double{s.extendedOut[i]} * double{s.extended[i]});
        }
        // Every value is a sum of at most kw kh products, each rounded a few times.
        EXPECT_NEAR(left, right, (c.kw + c.kh + 4) * std::ldexp(1.0, -23) * (scale + 1.0));
    }
}

TEST(SrFloatConvolution, MasksRemoveSamplesButNotTheirNaN) {
    Setting s({12, 10, 6, 6, 2.0f});
    s.h[5] = s.v[0] = 0.0f;
    std::vector<char> mask(s.low.size(), 0);
    s.fast.fullConvFromSparse(s.low.data(), s.h.data(), s.v.data(), mask.data(), s.extendedOut.data());
    for (float value : s.extendedOut) EXPECT_EQ(value, 0.0f);

    // 0 times NaN is NaN: neither a zero mask nor a zero tap hides a bad sample.
    s.low[8] = kNaN;
    s.extended[20] = kNaN;
    EXPECT_TRUE(s.agree(mask));
    int spread = 0;
    for (float value : s.extendedOut) spread += std::isnan(value) ? 1 : 0;
    EXPECT_EQ(spread, 36);
}

TEST(SrFloatConvolution, RefusesSizesThatCannotBe) {
    const auto messageOf = [](Case c) {
        return test::thrownBy([&] { SrFloatConvolution(c.W, c.H, c.kw, c.kh, c.f); }).message();
    };
    EXPECT_EQ(messageOf({-1, 4, 6, 6, 2.0f}), "Invalid image size -1 x 4 specified.");
    EXPECT_EQ(messageOf({65536, 65536, 6, 6, 2.0f}), "Invalid image size 65536 x 65536 specified.");
    EXPECT_EQ(messageOf({4, 4, 0, 6, 2.0f}), "Invalid kernel size 0 x 6 specified.");
    constexpr int kMost = std::numeric_limits<int>::max();
    EXPECT_EQ(messageOf({2, 4, kMost, 6, 2.0f}), "Invalid image size 2147483648 x 9 specified.");
    for (float f : {0.5f, 1e10f, kNaN, std::numeric_limits<float>::infinity()}) {
        EXPECT_NE(messageOf({4, 4, 6, 6, f}).find("Invalid super-resolution factor"), std::string::npos);
    }
}

}  // namespace oravo::vision
