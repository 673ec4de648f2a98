#include "vision/superresolution/detail/precise/SmoothnessPrior.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/TestScenes.h"
#include "tests/plain/PlainPrecise.h"

namespace oravo::vision::detail::precise {
namespace {

using plain::Plane;

Plane product(const SmoothnessPrior& prior, const Plane& plane) {
    const PaddedImage v(plane.cols, plane.rows), out(plane.cols, plane.rows);
    for (int y = 0; y < plane.rows; ++y) std::copy_n(plane[y], plane.cols, v.row(y));
    v.mirrorPads();
    for (int y = 0; y < plane.rows; ++y) prior.addRow(v, y, 0, y == 0, out.row(y));
    Plane result(plane.size());
    for (int y = 0; y < plane.rows; ++y) std::copy_n(out.row(y), plane.cols, result[y]);
    return result;
}

}  // namespace

TEST(SmoothnessPrior, IsASymmetricFormThatHasNothingAgainstLevels) {
    constexpr double kStrength = 0.01;
    for (const cv::Size size : {cv::Size(1, 1), {2, 2}, {1, 9}, {9, 1}, {3, 5}, {24, 17}, {41, 6}}) {
        SCOPED_TRACE(::testing::Message() << size);
        const Plane estimate = test::randomImage(size.height, size.width, 1, -0.2f, 0.2f);
        const PaddedImage image(size.width, size.height);
        for (int y = 0; y < size.height; ++y) std::copy_n(estimate[y], size.width, image.row(y));
        SmoothnessPrior prior(size.width, size.height);
        prior.freeze(image, kStrength);
        const Plane u = test::randomImage(size.height, size.width, 2),
                    v = test::randomImage(size.height, size.width, 3);
        const Plane Lu = product(prior, u), Lv = product(prior, v);
        Plane twin(size, 0.0f);
        const PriorParameters parameters{static_cast<float>(kStrength), static_cast<float>(kStrength),
                                         SmoothnessPrior::kFloor * SmoothnessPrior::kFloor};
        plain::SmoothnessPrior(estimate, parameters).addProduct(v, twin);
        EXPECT_TRUE(test::sameBits(Lv, twin));
        // Weights of at most strength / floor, whose differences go through 72 links a pixel, rounded to 2^-24 each.
        const double bound = 72.0 * kStrength / static_cast<double>(SmoothnessPrior::kFloor) * size.area() *
                             std::ldexp(1.0, -22);
        EXPECT_NEAR(Lu.dot(v), u.dot(Lv), bound);
        EXPECT_GE(v.dot(Lv), size.area() > 1 ? bound : -bound);
        EXPECT_LE(cv::norm(product(prior, Plane(size, 3.0f)), cv::NORM_INF), 3.0 * bound);
    }
}

TEST(SmoothnessPrior, KnowsItsDiagonalWhereWeightsAreAlike) {
    SmoothnessPrior prior(9, 9);
    prior.freeze(PaddedImage(9, 9), 0.3);
    Plane point(9, 9, 0.0f);
    point(4, 4) = 1.0f;
    std::vector<float> diagonal(9, 1.0f);
    prior.addDiagonal(4, diagonal.data());
    EXPECT_NEAR(product(prior, point)(4, 4), diagonal[4] - 1.0f, 1e-4f);
}

}  // namespace oravo::vision::detail::precise
