#include "vision/superresolution/detail/precise/Elementary.h"

#include <gtest/gtest.h>

#include <cmath>

namespace oravo::vision::detail::precise {

TEST(Elementary, FunctionsAreExactTo14Digits) {
    constexpr double kError = 1e-14;
    for (double x = -30.0; x <= 30.0; x += 0.37) {
        EXPECT_NEAR(exponential(x) / std::exp(x), 1.0, 2.0 * kError) << x;
        EXPECT_NEAR(powerOfTwo(x) / std::exp2(x), 1.0, 2.0 * kError) << x;
    }
    for (double x = 1e-12; x < 1e12; x *= 1.7) {
        EXPECT_NEAR(logarithm(x), std::log(x), kError * (1.0 + std::abs(std::log(x)))) << x;
        EXPECT_NEAR(decibels(x), 20.0 * std::log10(x), 20.0 * kError * (1.0 + std::abs(std::log(x)))) << x;
    }
    for (double x = -0.5 * kPi; x <= 0.5 * kPi; x += 0.01) EXPECT_NEAR(sine(x), std::sin(x), kError) << x;
    EXPECT_EQ(exponential(0.0), 1.0);
    EXPECT_EQ(logarithm(1.0), 0.0);
}

}  // namespace oravo::vision::detail::precise
