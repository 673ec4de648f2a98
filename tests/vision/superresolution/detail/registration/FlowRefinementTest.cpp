#include "vision/superresolution/detail/registration/FlowRefinement.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/TestScenes.h"
#include "tests/plain/PlainFlow.h"

namespace oravo::vision::detail {
namespace {

using test::Image;
using test::Point;

constexpr int kRows = 41, kCols = 54;

const test::Scene& scene() {
    static const test::Scene rendered(3, kRows, kCols, 4.0);
    return rendered;
}

struct Refined {
    Point shift;
    cv::Mat_<char> mask;
    int valid() const { return cv::countNonZero(mask); }
};

Refined refine(const Image& reference, const Image& frame, cv::Point whole, float regError = 0.0001f) {
    FlowRefinement flow({reference.cols, reference.rows});
    flow.regError = regError;
    flow.setReference(reference.ptr<float>());
    Refined result{{}, cv::Mat_<char>(reference.size(), 0)};
    result.shift = flow.refine(reference.ptr<float>(), frame.ptr<float>(), whole, result.mask.ptr<char>());
    return result;
}

}  // namespace

TEST(FlowRefinement, AgreesWithItsTwinInAllQuadrants) {
    const Image reference = scene().frame(kRows, kCols);
    for (const cv::Point whole : {cv::Point(0, 0), {3, 2}, {-3, 2}, {3, -2}, {-4, -1}, {0, 5}, {-6, 0}}) {
        for (const Point part : {Point(0.0f, 0.0f), {0.3f, -0.4f}, {-0.48f, 0.49f}}) {
            SCOPED_TRACE(::testing::Message() << whole << " + " << part);
            Image frame = scene().frame(kRows, kCols, Point(whole) + part);
            const Image noise = test::randomImage(kRows, kCols, 5);
            for (int x = 0; x < kCols; ++x) frame.col(x) += noise.col(x) * x / kCols;
            const float regError = 2e-5f;  // amid the errors of the noise, which grows to the right
            const Refined fast = refine(reference, frame, whole, regError);
            const plain::FlowResult twin = plain::opticalFlow(reference, frame, whole, regError, 3);
            EXPECT_NEAR(fast.shift.x, twin.shift.x, 1e-6f);  // both round the same double sums
            EXPECT_NEAR(fast.shift.y, twin.shift.y, 1e-6f);
            EXPECT_NEAR(fast.shift.x, static_cast<float>(whole.x) + part.x, 0.1f);
            EXPECT_NEAR(fast.shift.y, static_cast<float>(whole.y) + part.y, 0.1f);
            int differing = 0;
            for (int y = 0; y < kRows; ++y) {
                for (int x = 0; x < kCols; ++x) {
                    const bool close = std::abs(twin.smoothedError(y, x) - regError) < 1e-4 * regError;
                    if (!close && (fast.mask(y, x) != 0) != (twin.mask(y, x) != 0)) ++differing;
                }
            }
            EXPECT_EQ(differing, 0);
            EXPECT_GT(fast.valid(), kRows * kCols / 20);
            EXPECT_LT(fast.valid(), kRows * kCols * 19 / 20);
        }
    }
}

TEST(FlowRefinement, IdenticalFrameIsValidEverywhereUnlessNoErrorIsAllowed) {
    const Image reference = scene().frame(kRows, kCols);
    const Refined same = refine(reference, reference, {0, 0});
    EXPECT_EQ(same.shift, Point(0.0f, 0.0f));
    EXPECT_EQ(same.valid(), kRows * kCols);
    EXPECT_EQ(refine(reference, reference, {0, 0}, 0.0f).valid(), 0);
}

TEST(FlowRefinement, WholeMoveLeavesOutTheColumnsBeyondTheFrame) {
    const Image reference = scene().frame(kRows, kCols);
    for (const cv::Point whole : {cv::Point(1, 0), {-2, 0}, {0, 3}, {0, -1}}) {
        const Refined moved = refine(reference, scene().frame(kRows, kCols, Point(whole)), whole);
        EXPECT_NEAR(moved.shift.x, whole.x, 1e-5);
        EXPECT_NEAR(moved.shift.y, whole.y, 1e-5);
        const cv::Rect inside(std::max(-whole.x, 0), std::max(-whole.y, 0), kCols - std::abs(whole.x),
                              kRows - std::abs(whole.y));
        EXPECT_EQ(moved.valid(), inside.area()) << whole;
        EXPECT_EQ(cv::countNonZero(moved.mask(inside)), inside.area()) << whole;
    }
}

TEST(FlowRefinement, NothingToGoByYieldsNoShiftAndNoValidPixel) {
    const Image reference = scene().frame(kRows, kCols);
    for (const cv::Point apart : {cv::Point(kCols, 0), {-kCols, 0}, {0, kRows}, {3, -kRows - 7}}) {
        const Refined result = refine(reference, reference, apart);
        EXPECT_FALSE(std::isfinite(result.shift.x) || std::isfinite(result.shift.y)) << apart;
        EXPECT_EQ(result.valid(), 0) << apart;
    }
    // A line has gradients along itself only; a flat image has none.
    for (const cv::Size size : {cv::Size(1, 9), {9, 1}, {1, 1}, {20, 20}}) {
        Image image(size, 5.0f);
        if (size.area() < 20) cv::randu(image, 0.0f, 1.0f);
        const Refined result = refine(image, image, {0, 0});
        EXPECT_FALSE(std::isfinite(result.shift.x)) << size;
        EXPECT_EQ(result.valid(), 0) << size;
    }
}

}  // namespace oravo::vision::detail
