#include "vision/superresolution/detail/numerics/GaussianPsf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "tests/TestScenes.h"
#include "tests/plain/PlainMinimization.h"

namespace oravo::vision::detail {
namespace {

plain::Vector psf(float sigma, float f) {
    plain::Vector taps(static_cast<std::size_t>(3.0f * f), -1.0f);
    gaussianPsf(sigma, f, static_cast<int>(taps.size()), taps.data());
    return taps;
}

}  // namespace

TEST(GaussianPsf, ApproximatesTheErrorFunction) {
    EXPECT_EQ(erfApproximation(0.0f), 0.0f);
    for (float z = -12.0f; z <= 12.0f; z += 0.0625f) {
        EXPECT_NEAR(erfApproximation(z), std::erf(z), 3.4e-4) << z;
        EXPECT_EQ(erfApproximation(-z), -erfApproximation(z)) << z;
    }
    EXPECT_EQ(erfApproximation(1e30f), 1.0f);  // squares overflow
}

TEST(GaussianPsf, IsSymmetricNormalisedAndTheMassOfAGaussian) {
    for (float f : {1.5f, 2.0f, 2.5f, 3.0f}) {
        for (float sigma : {0.2f, 0.683f, 1.5f}) {
            const plain::Vector taps = psf(sigma, f);
            EXPECT_EQ(taps, plain::basePsf(sigma, f));
            EXPECT_NEAR(std::accumulate(taps.begin(), taps.end(), 0.0), 1.0, 1e-6);
            const std::size_t half = taps.size() / 2;
            for (std::size_t j = 0; j < half; ++j) EXPECT_EQ(taps[half + j], taps[half - 1 - j]);
        }
    }
    const plain::Vector taps = psf(0.683f, 2.0f);
    EXPECT_EQ(taps[0], 0.0f);
    EXPECT_EQ(taps[5], 0.0f);
    const double s = std::sqrt(2.0) * 0.683, total = std::erf(2.0 / s);
    EXPECT_NEAR(taps[3], 0.5 * std::erf(1.0 / s) / total, 2e-4);
    EXPECT_NEAR(taps[4], 0.5 * (total - std::erf(1.0 / s)) / total, 2e-4);
    for (float tap : psf(0.683f, 1.2f)) EXPECT_TRUE(tap >= 0.0f && tap <= 1.0f);  // more masses than taps
}

TEST(GaussianPsf, MovesByLinearInterpolation) {
    const plain::Vector base = psf(0.683f, 2.0f);
    plain::Vector taps(base.size());
    const auto moved = [&](float shift) {
        shiftedPsf(base.data(), 6, shift, taps.data());
        return taps;
    };
    EXPECT_EQ(moved(0.0f), base);
    EXPECT_EQ(moved(1.0f), (plain::Vector{base[1], base[2], base[3], base[4], 0.0f, 0.0f}));
    EXPECT_EQ(moved(-1.0f), (plain::Vector{0.0f, 0.0f, base[1], base[2], base[3], base[4]}));
    for (float shift : {-0.75f, -0.3f, 0.1f, 0.5f, 0.99f}) {
        EXPECT_EQ(moved(shift), plain::shiftedPsf(base, shift)) << shift;
        double centre = 0.0;
        for (int i = 0; i < 6; ++i)
            centre += (i - 2.5) * static_cast<double>(taps[static_cast<std::size_t>(i)]);
        EXPECT_NEAR(centre, -static_cast<double>(shift), 1e-6);  // towards lower indices for positive shifts
    }
}

}  // namespace oravo::vision::detail
