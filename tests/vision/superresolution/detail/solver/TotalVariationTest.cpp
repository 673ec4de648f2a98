#include "vision/superresolution/detail/solver/TotalVariation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/TestScenes.h"
#include "tests/plain/PlainMinimization.h"

namespace oravo::vision::detail {
namespace {

using plain::Vector;

/// The operator frozen from an estimate, on plain vectors.
struct Fast {
    FrameSize size;
    TotalVariation operation{size};
    GuardedImage image{size};

    void freeze(const Vector& x, float weight, float epsilon) {
        std::copy(x.begin(), x.end(), image.data());
        operation.freeze(image.data(), -1.0f / weight, epsilon, 1.0f / epsilon,
                         TotalVariation::FirstPixel::own);
    }
    Vector apply(const Vector& v) {
        Vector out(v.size());
        std::copy(v.begin(), v.end(), image.data());
        operation.apply(image.data(), out.data());
        return out;
    }
};

double dot(const Vector& a, const Vector& b) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += double{a[i]} * double{b[i]};
    return sum;
}

}  // namespace

TEST(TotalVariation, IsAWeightedLaplacianWithTheBitsOfItsTwin) {
    for (const FrameSize size : {FrameSize{1, 1}, {1, 7}, {7, 1}, {2, 2}, {3, 5}, {16, 4}, {33, 17}}) {
        SCOPED_TRACE(::testing::Message() << size.width << " x " << size.height);
        const int n = size.pixelCount();
        const Vector x = test::randomVector(n, 1, -8.0f, 8.0f);  // differences on both sides of 1 / epsilon
        const Vector v = test::randomVector(n, 2), w = test::randomVector(n, 3);
        Fast fast{size};
        fast.freeze(x, 400.0f, 0.1f);
        plain::TotalVariation twin(size.width, size.height);
        twin.freeze(x, 400.0f, 0.1f);
        Vector expected(v.size());
        twin.apply(v, expected);
        const Vector Lv = fast.apply(v), Lw = fast.apply(w);
        EXPECT_EQ(Lv, expected);

        // Weights are at most 1 / (400 epsilon) = 0.025, eight to a pixel, and rounded to 2^-24 each.
        const double bound = 16.0 * 0.025 * n * std::ldexp(1.0, -22);
        EXPECT_NEAR(dot(Lv, w), dot(v, Lw), bound);
        EXPECT_GE(dot(v, Lv), -bound);
        for (float value : fast.apply(Vector(v.size(), 1.0f))) EXPECT_NEAR(value, 0.0f, bound / n);
    }
}

TEST(TotalVariation, HoldsDifferencesBetweenEpsilonAndItsInverse) {
    const FrameSize size{2, 1};
    for (const auto& [difference, clamped] : {std::pair{0.0f, 0.25f},
                                              {0.2f, 0.25f},
                                              {-0.5f, 0.5f},
                                              {3.5f, 3.5f},
                                              {4.0f, 4.0f},
                                              {-100.0f, 4.0f}}) {
        Fast fast{size};
        fast.freeze({0.0f, difference}, 8.0f, 0.25f);
        const float link = (-1.0f / 8.0f) / clamped;
        EXPECT_EQ(fast.apply({1.0f, 0.0f}), (Vector{-link, link})) << difference;
    }
    // A diagonal link weighs half as much, at a distance of sqrt(2).
    Fast fast{FrameSize{2, 2}};
    fast.freeze({0.0f, 0.0f, 0.0f, 2.0f}, 1.0f, 0.25f);
    EXPECT_NEAR(fast.apply({1.0f, 0.0f, 0.0f, 0.0f})[3], -0.5f / std::sqrt(2.0f), 1e-6f);
}

}  // namespace oravo::vision::detail
