#include "vision/superresolution/reference/SuperResolutionFft2d.h"

#include <gtest/gtest.h>

#include <complex>
#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatFft2d.h"

namespace oravo::test {
namespace {

using Spectrum = std::vector<std::complex<float>>;
using vision::SuperResolutionFft2d;

TEST(SuperResolutionFft2d, HasTheBitsOfTheFloatFamily) {
    const Image image = randomImage(9, 20, 3, -5.0f, 5.0f);
    SuperResolutionFft2d reference(20, 9);
    vision::SrFloatFft2d floating(20, 9);
    Spectrum a(11 * 9), b(11 * 9);
    reference.forward(image.ptr<float>(), a.data());
    floating.forward(image.ptr<float>(), b.data());
    EXPECT_EQ(a, b);
    Image back(9, 20);
    reference.backward(a.data(), back.ptr<float>());
    EXPECT_LE(largestDifference(linear(back, 1.0 / 180, 0), image), 1e-5);
    std::vector<float> taps(4), expectedTaps(4);
    reference.gaussFft(3, 1.5f, a.data(), taps.data());
    floating.gaussFft(3, 1.5f, b.data(), expectedTaps.data());
    EXPECT_EQ(a, b);
    EXPECT_EQ(taps, expectedTaps);
    EXPECT_EQ(thrownBy([] { SuperResolutionFft2d(7, 4); })
                  .location()
                  .rfind("vision/superresolution/reference/SuperResolutionFft2d: ", 0),
              0U);
}

}  // namespace
}  // namespace oravo::test
