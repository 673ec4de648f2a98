#include "vision/superresolution/SrFloatMinimization.h"

#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tests/TestScenes.h"
#include "tests/plain/PlainMinimization.h"

namespace oravo::vision {
namespace {

using test::Image;
using test::Point;

const std::vector<Point> kShifts = {
    {0.0f, 0.0f}, {0.5f, -0.5f}, {-0.3f, 0.2f}, {0.4f, 0.45f}, {-0.5f, -0.1f}};
constexpr int kFrames = 5;

/// Frames that obey the model exactly: the extended scene under each frame's point-spread function.
struct ModelBurst {
    Image truth;
    std::vector<Image> frames;

    ModelBurst(int lw, int lh) {
        plain::SparseOperators model{2 * lw, 2 * lh, 6, 6, 2.0f};
        const Image extended = test::Scene(11, lh, lw, 1.0).frame(2 * lh + 5, 2 * lw + 5, {}, 0.5);
        truth = extended(cv::Rect(2, 2, 2 * lw, 2 * lh)).clone();
        const plain::Vector base = plain::basePsf(0.683f, 2.0f);
        for (const Point& shift : kShifts) {
            frames.emplace_back(lh, lw);
            model.validCorrToSparse(extended.ptr<float>(), plain::shiftedPsf(base, 2.0f * shift.x).data(),
                                    plain::shiftedPsf(base, 2.0f * shift.y).data(),
                                    frames.back().ptr<float>());
        }
    }
};

struct Solution {
    int steps = 0;
    Image image;
    std::vector<Image> frames;  // as the solver left them
};

template <class Solver>
Solution solve(Solver& solver, const std::vector<Image>& burst, float f, test::Masks& masks,
               int refIndex = 2) {
    const int W = static_cast<int>(static_cast<float>(burst[0].cols) * f);
    const int H = static_cast<int>(static_cast<float>(burst[0].rows) * f);
    Solution solution{0, Image(H, W, -1.0f), test::clones(burst)};
    solution.steps = solver.minimize(kFrames, refIndex, test::pointers(solution.frames).data(),
                                     kShifts.data(), masks.pointers.data(), solution.image.ptr<float>());
    return solution;
}

}  // namespace

TEST(SrFloatMinimization, WholeReconstructionAgreesWithItsTwin) {
    for (const cv::Size size : {cv::Size(1, 6), {7, 1}, {5, 4}, {16, 9}, {33, 21}}) {
        for (float f : {2.0f, 2.5f, 3.0f}) {
            for (int maxIter : {0, 1, 8, 15}) {
                SCOPED_TRACE(::testing::Message() << size << " factor " << f << " steps " << maxIter);
                std::vector<Image> burst;
                for (unsigned k = 0; k < kFrames; ++k) {
                    burst.push_back(test::randomImage(size.height, size.width, k, 10.0f, 30.0f));
                }
                test::Masks masks(kFrames, size.area());
                for (std::size_t i = 0; i < masks.values[1].size(); i += 3) masks.values[1][i] = 0;
                SrFloatMinimization fast(size.width, size.height, kFrames, f);
                plain::Minimization twin(size.width, size.height, f);
                fast.setMaxIter(maxIter);
                twin.maxIter = maxIter;
                const Solution a = solve(fast, burst, f, masks);
                const Solution b = solve(twin, burst, f, masks);
                EXPECT_EQ(a.steps, b.steps);
                for (std::size_t k = 0; k < kFrames; ++k)
                    EXPECT_TRUE(test::sameBits(a.frames[k], b.frames[k]));
                // The order of the double sums may turn the last bit of alpha and beta; each step passes on
                // at most a few times that, for values within 50 of the mean.
                EXPECT_LE(test::largestDifference(a.image, b.image),
                          (1 + 8 * maxIter) * std::ldexp(50.0, -23));
            }
        }
    }
}

TEST(SrFloatMinimization, NormalisesTheFramesByTheReference) {
    const ModelBurst burst(24, 18);
    test::Masks masks(kFrames, 24 * 18);
    SrFloatMinimization solver(24, 18, kFrames, 2.0f);
    const Solution solution = solve(solver, burst.frames, 2.0f, masks, 3);
    cv::Scalar mean, deviation;
    cv::meanStdDev(solution.frames[3], mean, deviation);
    EXPECT_NEAR(mean[0], 0.0, 1e-5);
    EXPECT_NEAR(deviation[0], 1.0, 1e-5);
    cv::meanStdDev(burst.frames[3], mean, deviation);
    EXPECT_LE(cv::norm((burst.frames[0] - mean[0]) / deviation[0], solution.frames[0], cv::NORM_INF), 1e-5);
}

TEST(SrFloatMinimization, RecoversAKnownSceneBetterThanInterpolation) {
    const ModelBurst burst(40, 30);
    test::Masks masks(kFrames, 40 * 30);
    SrFloatMinimization solver(40, 30, kFrames, 2.0f);
    const auto error = [&] {
        return test::rmsDifference(solve(solver, burst.frames, 2.0f, masks).image, burst.truth, 4);
    };
    Image bicubic;
    cv::resize(burst.frames[0], bicubic, burst.truth.size(), 0, 0, cv::INTER_CUBIC);
    const double standard = error();
    EXPECT_LT(standard, 0.4 * test::rmsDifference(bicubic, burst.truth, 4));
    solver.setWeightTV(1e6f);  // the frames have no noise to smooth
    solver.setRelRes(1e-6f);
    solver.setMaxIter(400);
    EXPECT_LT(error(), 0.4 * standard);
}

TEST(SrFloatMinimization, FollowsOffsetAndScaleOfTheIntensities) {
    const ModelBurst burst(20, 16);
    test::Masks masks(kFrames, 20 * 16);
    SrFloatMinimization solver(20, 16, kFrames, 2.0f);
    const Image plain = solve(solver, burst.frames, 2.0f, masks).image;
    std::vector<Image> other;
    for (const Image& frame : burst.frames) other.push_back(test::linear(frame, 8, -100));
    EXPECT_LE(test::largestDifference(solve(solver, other, 2.0f, masks).image, test::linear(plain, 8, -100)),
              5e-3);
}

TEST(SrFloatMinimization, SpendsOneBudgetOverAllPasses) {
    const ModelBurst burst(24, 18);
    test::Masks masks(kFrames, 24 * 18);
    SrFloatMinimization solver(24, 18, kFrames, 2.0f);
    const auto steps = [&](int maxIter, float relRes) {
        solver.setMaxIter(maxIter);
        solver.setRelRes(relRes);
        return solve(solver, burst.frames, 2.0f, masks).steps;
    };
    for (int budget : {0, 1, 5, 20}) EXPECT_EQ(steps(budget, 0.0f), budget);
    EXPECT_EQ(steps(8, 1e6f), 0);  // good enough from the start
    // New weights raise the residual again: a loose residue takes more than one pass, and ends within budget.
    plain::Minimization twin(24, 18, 2.0f);
    twin.maxIter = 200;
    twin.relRes = 0.05f;
    const int expected = solve(twin, burst.frames, 2.0f, masks).steps;
    EXPECT_EQ(steps(200, 0.05f), expected);
    EXPECT_LT(expected, 200);
}

TEST(SrFloatMinimization, WithoutAnyUsablePixelIsNotANumber) {
    const ModelBurst burst(12, 9);
    test::Masks masks(kFrames, 12 * 9, 0);
    SrFloatMinimization solver(12, 9, kFrames, 2.0f);
    Solution solution = solve(solver, burst.frames, 2.0f, masks);
    EXPECT_EQ(solution.steps, 8);
    for (float value : solution.image) EXPECT_TRUE(std::isnan(value));
    // Nor is it without any frame, though the reference is read for its scale.
    solution.image = 0.0f;
    std::vector<Image> frames = test::clones(burst.frames);
    float* const out = solution.image.ptr<float>();
    EXPECT_EQ(solver.minimize(0, 1, test::pointers(frames).data(), nullptr, nullptr, out), 8);
    for (float value : solution.image) EXPECT_TRUE(std::isnan(value));
}

TEST(SrFloatMinimization, KeepsParametersAndRefusesTooManyFrames) {
    SrFloatMinimization solver(4, 4, 2, 2.0f);
    EXPECT_EQ(solver.getPsfSigma(), 0.683f);
    EXPECT_EQ(solver.getWeightTV(), 400.0f);
    EXPECT_EQ(solver.getEpsilon(), 0.1f);
    EXPECT_EQ(solver.getRelRes(), 0.007f);
    EXPECT_EQ(solver.getMaxIter(), 8);
    const oravo::Exception thrown =
        test::thrownBy([&] { solver.minimize(3, 0, nullptr, nullptr, nullptr, nullptr); });
    EXPECT_EQ(thrown.message(), "Invalid number of frames 3 specified, at most 2 are provided for.");
    EXPECT_NE(thrown.location().find("oravo::vision::SrFloatMinimization::minimize(..)\n"),
              std::string::npos);
    // The line is one of the file that is named.
    EXPECT_EQ(thrown.location().find("vision/superresolution/detail/solver/TotalVariationSolver: "), 0U);
}

}  // namespace oravo::vision
