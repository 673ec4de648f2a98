#include "vision/superresolution/SrFloatNeonMinimization.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatMinimization.h"

namespace oravo::test {
namespace {

const std::vector<Point> kShifts = {{0, 0}, {0.4f, 0.1f}, {-2.3f, 0.5f}, {0.2f, -1.4f}, {0.5f, 0.5f}};

constexpr int kFrames = 5;

TEST(SrFloatNeonMinimization, AgreesWithTheFloatSolver) {
    for (const cv::Size size : {cv::Size(3, 9), {16, 9}, {17, 8}, {18, 7}, {19, 12}}) {
        for (const float f : {2.0f, 3.0f}) {
            SCOPED_TRACE(::testing::Message() << size << " factor " << f);
            std::vector<Image> frames;
            for (unsigned k = 0; k < kFrames; ++k)
                frames.push_back(randomImage(size.height, size.width, k, 10, 30));
            std::vector<Image> copies = clones(frames);
            std::vector<Point> shifts = kShifts;
            for (Point& shift : shifts) shift = {shift.x / 5, shift.y / 5};
            Masks bytes(kFrames, size.area());
            FloatMasks masks(kFrames, size.area(), 1.0f);
            for (std::size_t i = 0; i < bytes.values[1].size(); i += 3)
                masks.values[1][i] = bytes.values[1][i] = 0;
            const int scale = static_cast<int>(f);
            Image a(scale * size.height, scale * size.width), b(a.size());
            vision::SrFloatMinimization solver(size.width, size.height, kFrames, f);
            vision::SrFloatNeonMinimization vector(size.width, size.height, kFrames, f);
            EXPECT_EQ(solver.minimize(kFrames, 1, pointers(frames).data(), shifts.data(),
                                      bytes.pointers.data(), a.ptr<float>()),
                      vector.minimize(kFrames, 1, pointers(copies).data(), shifts.data(),
                                      masks.pointers.data(), b.ptr<float>()));
            // The order of double sums may turn the last bit of alpha and beta in each of 8 steps; a step
            // passes on a few times that, for values within 50 of the mean.
            EXPECT_LE(largestDifference(a, b), 65 * std::ldexp(50.0, -23));
        }
    }
    EXPECT_NE(thrownBy([] { vision::SrFloatNeonMinimization(4, 4, 2, 2.0f).minimize(3, 0, {}, {}, {}, {}); })
                  .location()
                  .find("oravo::vision::SrFloatNeonMinimization::minimize(..)\n"),
              std::string::npos);
}

TEST(SrFloatNeonMinimization, KeepsToItsIterations) {
    const cv::Size size(24, 18);
    const auto solved = [&](auto solver, auto& masks, int iterations) {
        std::vector<Image> frames;
        for (unsigned k = 0; k < 2; ++k) frames.push_back(randomImage(size.height, size.width, k, 10, 30));
        const Point shifts[] = {{0, 0}, {0.4f, -0.2f}};
        Image image(size * 2);
        solver.setMaxIter(iterations);
        solver.setRelRes(1e-9f);
        EXPECT_EQ(
            solver.minimize(2, 0, pointers(frames).data(), shifts, masks.pointers.data(), image.ptr<float>()),
            iterations);
        return image;
    };
    Masks bytes(2, size.area());
    FloatMasks masks(2, size.area(), 1.0f);
    std::vector<Image> images;
    for (const int iterations : {0, 1, 3, 12}) {
        images.push_back(
            solved(vision::SrFloatNeonMinimization(size.width, size.height, 2, 2.0f), masks, iterations));
        const Image twin =
            solved(vision::SrFloatMinimization(size.width, size.height, 2, 2.0f), bytes, iterations);
        EXPECT_LE(largestDifference(images.back(), twin), 97 * std::ldexp(50.0, -23)) << iterations;
    }
    for (std::size_t i = 1; i < images.size(); ++i)
        EXPECT_GT(largestDifference(images[i], images[i - 1]), 0.01);
}

}  // namespace
}  // namespace oravo::test
