#include "vision/superresolution/detail/registration/PhaseCorrelator.h"

#include <gtest/gtest.h>

#include <complex>
#include <limits>
#include <vector>

#include "tests/TestScenes.h"

namespace oravo::test {
namespace {

using vision::detail::PhaseCorrelator;

const CodeLocation kHere{"here", 1, "test"};

cv::Point wholeShift(const Image& reference, const Image& frame) {
    PhaseCorrelator correlator({reference.cols, reference.rows}, 5, kHere);
    std::vector<std::complex<float>> a(correlator.spectrumSize()), b(a.size());
    correlator.fft().forward(reference.ptr<float>(), a.data());
    correlator.fft().forward(frame.ptr<float>(), b.data());
    return correlator.shift(a.data(), b.data());
}

TEST(PhaseCorrelator, RecoversEveryCyclicShift) {
    for (const cv::Size size : {cv::Size(16, 9), cv::Size(10, 12)}) {
        const Image image = randomImage(size.height, size.width, 4, 10.0f, 30.0f);
        for (int dy = 0; dy < size.height; ++dy) {
            for (int dx = 0; dx < size.width; ++dx) {
                // Half the size itself stays positive: 8 of 16 is +8, 9 is -7; of 9 rows, 4 is +4 and 5 is
                // -4.
                const cv::Point expected(dx > size.width / 2 ? dx - size.width : dx,
                                         dy > size.height / 2 ? dy - size.height : dy);
                EXPECT_EQ(wholeShift(image, cyclicMove(image, dx, dy)), expected);
            }
        }
        const Image moved = cyclicMove(image, 3, -2);
        EXPECT_EQ(wholeShift(image, moved), -wholeShift(moved, image));
    }
}

TEST(PhaseCorrelator, FramesWithoutPhaseStayWhereTheyAre) {
    const Image scene = randomImage(8, 8, 2, 0.0f, 9.0f);
    EXPECT_EQ(wholeShift(scene, Image(8, 8, 5.0f)), cv::Point(0, 0));
    EXPECT_EQ(wholeShift(Image(8, 8, 5.0f), Image(8, 8, 5.0f)), cv::Point(0, 0));
    EXPECT_EQ(wholeShift(scene, Image(8, 8, 0.0f)), cv::Point(0, 0));
    Image broken = cyclicMove(scene, 2, 1);
    broken(3, 3) = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(wholeShift(scene, broken), cv::Point(0, 0));
    // The mean of these frames is beyond what a product of magnitudes can hold; the scene is not.
    const Image bright(scene * 1e6f + 1e12f);
    EXPECT_EQ(wholeShift(bright, cyclicMove(bright, 2, 1)), cv::Point(2, 1));
}

TEST(PhaseCorrelator, ConstantFramesHaveNoShiftAtAnySize) {
    // The rounding errors in the other bins of a constant frame have phases, too.
    for (const cv::Size size :
         {cv::Size(160, 120), {320, 240}, {336, 252}, {640, 480}, {98, 120}, {26, 61}}) {
        const Image scene = randomImage(size.height, size.width, 2, 10.0f, 30.0f);
        for (const float value : randomVector(12, 7, -270.0f, 4900.0f)) {
            const Image constant(size, value);
            EXPECT_EQ(wholeShift(scene, constant), cv::Point(0, 0)) << value << " at " << size;
            EXPECT_EQ(wholeShift(constant, scene), cv::Point(0, 0)) << value << " at " << size;
        }
        // The faintest structure that the frame can carry is followed: one pixel, a few steps of rounding high.
        Image point(size, 20.0f);
        point(9, 12) += 0.05f;
        EXPECT_EQ(wholeShift(point, cyclicMove(point, 3, -2)), cv::Point(3, -2)) << size;
    }
}

}  // namespace
}  // namespace oravo::test
