#include "vision/superresolution/reference/SuperResolutionMinimization.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/TestScenes.h"
#include "tests/plain/PlainMinimization.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/detail/solver/TotalVariation.h"

namespace oravo::test {
namespace {

using vision::SrFloatMinimization;
using vision::SuperResolutionMinimization;

constexpr int kFrames = 4;
const std::vector<PointF> kShifts = {{0.0f, 0.0f}, {0.5f, -0.5f}, {-0.3f, 0.2f}, {0.4f, 0.45f}};
const std::vector<Point> kCvShifts = {{0.0f, 0.0f}, {0.5f, -0.5f}, {-0.3f, 0.2f}, {0.4f, 0.45f}};

struct Solution {
    int steps;
    Image image;
    std::vector<Image> frames;  // as the solver left them
};

template <class Solver, class Shift>
Solution solve(Solver& solver, const std::vector<Image>& burst, float f, Masks& masks,
               const std::vector<Shift>& shifts) {
    const auto sized = [f](int side) { return static_cast<int>(static_cast<float>(side) * f); };
    Solution solution{0, Image(sized(burst[0].rows), sized(burst[0].cols), -1.0f), clones(burst)};
    solution.steps = solver.minimize(kFrames, 1, pointers(solution.frames).data(), shifts.data(),
                                     masks.pointers.data(), solution.image.ptr<float>());
    return solution;
}

std::vector<Image> randomBurst(cv::Size size) {
    std::vector<Image> burst;
    for (unsigned k = 0; k < kFrames; ++k) {
        burst.push_back(randomImage(size.height, size.width, k, 10.0f, 30.0f));
    }
    return burst;
}

TEST(SuperResolutionMinimization, HasTheBitsOfItsTwin) {
    for (const cv::Size size : {cv::Size(1, 6), {7, 1}, {5, 4}, {16, 9}, {33, 21}}) {
        for (const float f : {1.5f, 2.0f, 2.5f, 3.0f}) {
            for (const int maxIter : {0, 1, 8}) {
                SCOPED_TRACE(::testing::Message() << size << " factor " << f << " steps " << maxIter);
                const std::vector<Image> burst = randomBurst(size);
                Masks masks(kFrames, size.area());
                for (std::size_t i = 0; i < masks.values[1].size(); i += 3) masks.values[1][i] = 0;
                SuperResolutionMinimization fast(size.width, size.height, kFrames, f);
                plain::Minimization twin(size.width, size.height, f, true);
                fast.setMaxIter(maxIter);
                twin.maxIter = maxIter;
                // Small enough for the faint differences in the corner to count.
                fast.setEpsilon(0.001f);
                twin.epsilon = 0.001f;
                fast.setPsfSigma(twin.psfSigma = 0.9f);
                fast.setWeightTV(twin.weightTV = 50.0f);
                fast.setRelRes(twin.relRes = 0.4f);
                const Solution a = solve(fast, burst, f, masks, kShifts);
                const Solution b = solve(twin, burst, f, masks, kCvShifts);
                EXPECT_EQ(a.steps, b.steps);
                for (std::size_t k = 0; k < kFrames; ++k) EXPECT_TRUE(sameBits(a.frames[k], b.frames[k]));
                EXPECT_TRUE(sameBits(a.image, b.image));
            }
        }
    }
}

/// Integers, symmetric about 100: every sum of the normalisation is exact in single precision too.
std::vector<Image> wholeBurst(cv::Size size) {
    std::vector<Image> burst = randomBurst(size);
    for (Image& frame : burst) {
        for (int i = 0; i < size.area(); i += 2) {
            float& value = *(frame.ptr<float>() + i);
            value = 100.0f + std::round(value);
            *(frame.ptr<float>() + i + 1) = 200.0f - value;
        }
    }
    return burst;
}

TEST(SuperResolutionMinimization, AgreesWithTheFloatSolverUpToItsSums) {
    const cv::Size size(32, 24);
    const std::vector<Image> burst = wholeBurst(size);
    Masks masks(kFrames, size.area());
    const auto solveBoth = [&](int maxIter) {
        // With every difference held to 1 all links weigh the same, those of the first pixel included, so
        // that the sums are all that differs.
        SuperResolutionMinimization reference(size.width, size.height, kFrames, 2.0f);
        SrFloatMinimization floating(size.width, size.height, kFrames, 2.0f);
        reference.setEpsilon(1.0f);
        floating.setEpsilon(1.0f);
        reference.setMaxIter(maxIter);
        floating.setMaxIter(maxIter);
        return std::pair(solve(reference, burst, 2.0f, masks, kShifts),
                         solve(floating, burst, 2.0f, masks, kCvShifts));
    };
    const auto start = solveBoth(0);
    for (std::size_t k = 0; k < kFrames; ++k)
        EXPECT_TRUE(sameBits(start.first.frames[k], start.second.frames[k]));
    EXPECT_TRUE(sameBits(start.first.image, start.second.image));  // no sum has acted yet

    plain::Minimization twin(size.width, size.height, 2.0f, true);
    twin.epsilon = 1.0f;
    solve(twin, burst, 2.0f, masks, kCvShifts);
    // alpha is the quotient of two sums, r . r and d . q, and errs by both; with it the step alpha d. Errors of
    // several steps add up.
    const double alphaError = 2.0 * twin.sumError;
    double travelled = 0.0;
    Image before = start.second.image;
    for (const int steps : {1, 2, 4, 8}) {
        const auto [reference, floating] = solveBoth(steps);
        EXPECT_EQ(reference.steps, steps);
        EXPECT_EQ(floating.steps, steps);
        travelled += largestDifference(floating.image, before);
        before = floating.image;
        EXPECT_LE(largestDifference(reference.image, floating.image),
                  alphaError * travelled + steps * std::ldexp(256.0, -23));
        EXPECT_GT(largestDifference(reference.image, floating.image), 0.0);
    }
}

TEST(SuperResolutionMinimization, FirstPixelTakesTheLinksOfTheSecond) {
    using vision::detail::TotalVariation;
    const vision::detail::FrameSize size{4, 3};
    const float x[] = {0, 1, 5, 0, 2, 4, 8, 0, 0, 0, 0, 0};
    vision::detail::GuardedImage image(size);
    std::copy(std::begin(x), std::end(x), image.data());
    TotalVariation operation(size);
    operation.freeze(image.data(), -1.0f, 0.001f, 1000.0f, TotalVariation::FirstPixel::second);
    std::fill_n(image.data(), size.pixelCount(), 0.0f);
    image.data()[0] = 1.0f;
    std::vector<float> links(size.elements());
    operation.apply(image.data(), links.data());
    EXPECT_FLOAT_EQ(links[1], -1.0f / 4.0f);                      // to 5 from 1, not to 1 from 0
    EXPECT_FLOAT_EQ(links[4], -1.0f / 3.0f);                      // to 4 from 1
    EXPECT_FLOAT_EQ(links[5], -0.5f / (7.0f / std::sqrt(2.0f)));  // to 8 from 1
    EXPECT_FLOAT_EQ(links[0], -(links[1] + links[4] + links[5]));

    // The whole solver has them: with links of its own, the twin differs.
    const std::vector<Image> burst = randomBurst({12, 10});
    Masks masks(kFrames, 120);
    plain::Minimization own(12, 10, 2.0f, true);
    own.totalVariation.firstFromSecond = false;
    SuperResolutionMinimization reference(12, 10, kFrames, 2.0f);
    own.epsilon = 0.001f;
    reference.setEpsilon(own.epsilon);
    EXPECT_FALSE(sameBits(solve(reference, burst, 2.0f, masks, kShifts).image,
                          solve(own, burst, 2.0f, masks, kCvShifts).image));
}

TEST(SuperResolutionMinimization, KeepsParametersAndRefusesTooManyFrames) {
    SuperResolutionMinimization solver(4, 4, 2, 2.0f);
    EXPECT_EQ(solver.getPsfSigma(), 0.683f);
    EXPECT_EQ(solver.getWeightTV(), 400.0f);
    EXPECT_EQ(solver.getEpsilon(), 0.1f);
    EXPECT_EQ(solver.getRelRes(), 0.007f);
    EXPECT_EQ(solver.getMaxIter(), 8);
    const Exception thrown = thrownBy([&] { solver.minimize(3, 0, nullptr, nullptr, nullptr, nullptr); });
    EXPECT_EQ(thrown.message(), "Invalid number of frames 3 specified, at most 2 are provided for.");
    EXPECT_NE(thrown.location().find("oravo::vision::SuperResolutionMinimization::minimize(..)\n"),
              std::string::npos);
}

}  // namespace
}  // namespace oravo::test
