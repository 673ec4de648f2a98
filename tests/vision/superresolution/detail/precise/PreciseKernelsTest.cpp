#include "vision/superresolution/detail/precise/PreciseKernels.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/TestScenes.h"
#include "tests/plain/PlainPrecise.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"
#include "vision/superresolution/detail/precise/SplineGrid.h"

namespace oravo::vision::detail::precise {
namespace {

using plain::Plane;
using Floats = std::vector<float>;

constexpr int kPad = PaddedImage::kPad;
constexpr float kUntouched = 77.0f;

/// Calls test(kernels) for every instruction set of this machine.
template <class Test>
void onEveryLevel(Test test) {
    for (const InstructionSet set :
         {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
        if (!machineHas(set)) continue;
        SCOPED_TRACE(::testing::Message() << "level " << static_cast<int>(set));
        test(preciseKernels(set));
    }
}

SplineImage sorted(const Grid& grid, const Plane& coefficients) {
    SplineImage image(grid);
    for (int y = 0; y < grid.rows(); ++y) {
        for (int x = 0; x < grid.columns(); ++x)
            image.row(y, x % grid.factor)[x / grid.factor] = coefficients(y, x);
    }
    return image;
}

Plane unsorted(const Grid& grid, const SplineImage& image) {
    Plane out(grid.rows(), grid.columns());
    for (int y = 0; y < grid.rows(); ++y) {
        for (int x = 0; x < grid.columns(); ++x) out(y, x) = image.row(y, x % grid.factor)[x / grid.factor];
    }
    return out;
}

PaddedImage padded(const Plane& plane) {
    const PaddedImage image(plane.cols, plane.rows);
    for (int y = 0; y < plane.rows; ++y) std::copy_n(plane[y], plane.cols, image.row(y));
    image.mirrorPads();
    return image;
}

Floats product(const Floats& a, const Floats& b) {
    Floats out(a);
    for (std::size_t i = 0; i < out.size(); ++i) out[i] *= b[i];
    return out;
}

RowTriple around(const PaddedImage& image, int y) {
    return {image.row(mirrored(y - 1, image.rows())), image.row(y), image.row(mirrored(y + 1, image.rows()))};
}

/// Calls test(kernels, grid, runs) for grids and motions of every kind, at every level.
template <class Test>
void onEveryGridAndMotion(Test test) {
    Motion turned;
    turned.tx = 1.37;
    turned.ty = -0.81;
    turned.axx = turned.ayy = 0.004;
    turned.ayx = 0.03;
    turned.axy = -0.03;
    Motion shifted;
    shifted.tx = -2.6;
    shifted.ty = 0.25;
    for (const Grid& grid : {Grid{8, 8, 2, 4}, Grid{9, 13, 2, 4}, Grid{600, 5, 2, 4}, Grid{71, 6, 3, 4},
                             Grid{67, 9, 4, 2}, Grid{33, 8, 1, 4}}) {
        for (const Motion& motion : {Motion(), shifted, turned}) {
            SCOPED_TRACE(::testing::Message() << grid.width << " x " << grid.height << " by " << grid.factor);
            const std::vector<SampleRun> runs = sampleRuns(grid, motion);
            ASSERT_FALSE(runs.empty());
            onEveryLevel([&](const PreciseKernels& kernels) { test(kernels, grid, runs); });
        }
    }
}

}  // namespace

TEST(PreciseKernels, SamplingHasTheBitsOfItsTwin) {
    onEveryGridAndMotion([](const PreciseKernels& kernels, const Grid& grid, const auto& runs) {
        const Plane coefficients = test::randomImage(grid.rows(), grid.columns(), 1);
        const SplineImage image = sorted(grid, coefficients);
        for (const SampleRun& run : runs) {
            Floats value(static_cast<std::size_t>(grid.width), kUntouched), again(value), dx(value),
                dy(value);
            kernels.sample(image.view(), run, value.data());
            kernels.sampleGradient(image.view(), run, again.data(), dx.data(), dy.data());
            for (int x = 0; x < grid.width; ++x) {
                const std::size_t at = static_cast<std::size_t>(x);
                const int i = x - run.first;
                if (i < 0 || i >= run.count) {
                    ASSERT_TRUE(value[at] == kUntouched && dx[at] == kUntouched && dy[at] == kUntouched) << x;
                    continue;
                }
                const plain::SplineValue twin = plain::sampleSpline(coefficients, grid.factor, run, i);
                ASSERT_TRUE(value[at] == twin.value && dx[at] == twin.dx && dy[at] == twin.dy)
                    << run.y << ' ' << x;
                ASSERT_NEAR(again[at], twin.value, 4e-7f) << "in another order";
            }
        }
    });
}

TEST(PreciseKernels, SpreadingHasTheBitsOfItsTwinAndIsTheAdjoint) {
    onEveryGridAndMotion([](const PreciseKernels& kernels, const Grid& grid, const auto& runs) {
        const Plane coefficients = test::randomImage(grid.rows(), grid.columns(), 1);
        const SplineImage image = sorted(grid, coefficients);
        const Floats values = test::randomVector(grid.width, 2);
        Plane spreadByTwin = test::randomImage(grid.rows(), grid.columns(), 3), before = spreadByTwin.clone();
        const SplineImage spread = sorted(grid, spreadByTwin);
        double there = 0.0;
        for (const SampleRun& run : runs) {
            Floats value(values.size());
            kernels.sample(image.view(), run, value.data());
            for (int i = run.first; i < run.first + run.count; ++i) {
                const std::size_t at = static_cast<std::size_t>(i);
                there += static_cast<double>(value[at]) * static_cast<double>(values[at]);
            }
            kernels.spread(spread.view(), run, values.data());
            plain::spreadSpline(spreadByTwin, grid.factor, run, values.data());
        }
        const Plane out = unsorted(grid, spread);
        ASSERT_TRUE(test::sameBits(out, spreadByTwin));
        // <S c, v> = <c, S^T v>, each of the terms rounded to 2^-24 some twenty times.
        const double pixels = static_cast<double>(grid.width) * grid.height;
        EXPECT_NEAR(there, (out - before).dot(coefficients), pixels * 16.0 * 20.0 * std::ldexp(1.0, -24));
        for (const SampleRun& run : runs) {
            kernels.sampleAndSpread(image.view(), run, values.data(), spread.view());
            plain::sampleAndSpread(coefficients, grid.factor, run, values.data(), spreadByTwin);
        }
        ASSERT_TRUE(test::sameBits(unsorted(grid, spread), spreadByTwin));
    });
}

TEST(PreciseKernels, FiltersHaveTheBitsOfTheirTwins) {
    BlurTaps taps;
    const Floats random = test::randomVector(kBlurRadius + 1, 5);
    std::copy(random.begin(), random.end(), taps.taps);
    for (const cv::Size size : {cv::Size(1, 1), {2, 5}, {7, 3}, {15, 4}, {16, 9}, {17, 2}, {67, 12}}) {
        const Plane plane = test::randomImage(size.height, size.width, 6);
        const Plane across = plain::blurred(plane, taps, true), down = plain::blurred(plane, taps, false);
        onEveryLevel([&](const PreciseKernels& kernels) {
            const PaddedImage image = padded(plane);
            for (int y = 0; y < size.height; ++y) {
                const std::size_t n = static_cast<std::size_t>(size.width);
                Floats out(n + 1, kUntouched), even(n / 2 + 2, kUntouched), odd(even), joined(out);
                kernels.blurAlong(taps, image.row(y), size.width, out.data());
                EXPECT_TRUE(test::sameBits(out.data(), across[y], n)) << size;
                const float* rows[2 * kBlurRadius + 1];
                for (int k = -kBlurRadius; k <= kBlurRadius; ++k)
                    rows[k + kBlurRadius] = image.row(mirrored(y + k, size.height));
                kernels.blurDown(taps, rows, size.width, out.data());
                EXPECT_TRUE(test::sameBits(out.data(), down[y], n)) << size;
                kernels.split(plane[y], size.width, even.data(), odd.data());
                for (int x = 0; x < size.width; ++x) {
                    EXPECT_EQ((x % 2 == 0 ? even : odd)[static_cast<std::size_t>(x / 2)], plane(y, x))
                        << size;
                }
                EXPECT_EQ(even[(n + 1) / 2], kUntouched);
                EXPECT_EQ(odd[n / 2], kUntouched);
                kernels.join(even.data(), odd.data(), size.width, joined.data());
                EXPECT_TRUE(test::sameBits(joined.data(), plane[y], n)) << size;
                EXPECT_EQ(joined[n], kUntouched);
            }
        });
    }
}

TEST(PreciseKernels, PriorHasTheBitsOfItsTwin) {
    const PriorParameters parameters{0.7f, 0.4f, 0.0025f};
    for (const cv::Size size : {cv::Size(1, 1), {2, 3}, {5, 1}, {16, 4}, {19, 7}, {67, 5}}) {
        Plane estimate = test::randomImage(size.height, size.width, 7);
        estimate.col(size.width / 2) = 0.5f;  // some of no difference at all
        const Plane plane = test::randomImage(size.height, size.width, 8);
        const plain::SmoothnessPrior twin(estimate, parameters);
        Plane expected = test::randomImage(size.height, size.width, 9);
        const PaddedImage frozen = padded(estimate), v = padded(plane), start = padded(expected);
        twin.addProduct(plane, expected);
        onEveryLevel([&](const PreciseKernels& kernels) {
            const PaddedImage first(size.width, 1), second(size.width, 1), out(size.width, size.height);
            const PaddedImage work(size.width, 5 * (size.height + 2));
            const auto row = [&](int y) {
                const int base = 5 * (y + 1);
                return DifferenceRow{work.row(base), work.row(base + 1), work.row(base + 2),
                                     work.row(base + 3), work.row(base + 4)};
            };
            for (int y = 0; y < size.height; ++y) {
                kernels.priorWeights(around(frozen, y), parameters, size.width, first.row(0), second.row(0));
                EXPECT_TRUE(test::sameBits(first.row(0), twin.first[y], static_cast<std::size_t>(size.width)))
                    << size;
                EXPECT_TRUE(
                    test::sameBits(second.row(0), twin.second[y], static_cast<std::size_t>(size.width)))
                    << size;
                kernels.differences(around(v, y), first.row(0), second.row(0), size.width, row(y));
            }
            // Above the first row nothing but the mirrored second difference, below the last one only that counts.
            std::copy_n(row(0).yy, size.width, row(-1).yy);
            std::copy_n(row(size.height - 1).yy, size.width, row(size.height).yy);
            out.copyFrom(start);
            for (int y = 0; y < size.height; ++y) {
                kernels.gatherDifferences(row(y - 1), row(y), row(y + 1), size.width, out.row(y));
                EXPECT_TRUE(test::sameBits(out.row(y), expected[y], static_cast<std::size_t>(size.width)))
                    << size << ' ' << y;
            }
        });
    }
}

TEST(PreciseKernels, VectorStepsHaveTheBitsOfTheirTwins) {
    const float alpha = 0.37f, beta = -1.3f;
    for (const int n : {1, 15, 16, 17, 33, 100}) {
        const Floats direction = test::randomVector(n, 1), image = test::randomVector(n, 2),
                     inverse = test::randomVector(n, 3);
        Floats estimate = test::randomVector(n, 4), residual = test::randomVector(n, 5), turned = direction,
               scaled(residual);
        const Floats estimateBefore = estimate, residualBefore = residual;
        for (std::size_t i = 0; i < direction.size(); ++i) {
            estimate[i] += alpha * direction[i];
            residual[i] -= alpha * image[i];
            scaled[i] = inverse[i] * residual[i];
            turned[i] = scaled[i] + beta * direction[i];
        }
        onEveryLevel([&](const PreciseKernels& kernels) {
            Floats x = estimateBefore, r = residualBefore, d = direction;
            const double begun = kernels.begin(x.data(), image.data(), inverse.data(), n, r.data(), d.data());
            EXPECT_EQ(begun, plain::laneDot(r, d));
            for (std::size_t i = 0; i < r.size(); ++i) ASSERT_EQ(r[i], x[i] - image[i]);
            EXPECT_EQ(d, product(inverse, r));
            r = residualBefore;
            d = direction;
            EXPECT_EQ(
                kernels.step(alpha, direction.data(), image.data(), inverse.data(), n, x.data(), r.data()),
                plain::laneDot(residual, scaled));
            EXPECT_EQ(x, estimate);
            EXPECT_EQ(r, residual);
            kernels.turn(beta, inverse.data(), r.data(), n, d.data());
            EXPECT_EQ(d, turned);
            EXPECT_EQ(kernels.dot(direction.data(), image.data(), n), plain::laneDot(direction, image));
            const float* const columns[] = {direction.data(), image.data()};
            double sums[] = {1.0, 2.0, 3.0};
            kernels.gram(columns, 2, inverse.data(), n, sums);
            EXPECT_EQ(sums[0], 1.0 + plain::laneDot(product(inverse, direction), direction));
            EXPECT_EQ(sums[1], 2.0 + plain::laneDot(product(inverse, image), direction));
            EXPECT_EQ(sums[2], 3.0 + plain::laneDot(product(inverse, image), image));
        });
    }
}

}  // namespace oravo::vision::detail::precise
