#include "vision/superresolution/detail/precise/FrameOperator.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/TestScenes.h"

namespace oravo::vision::detail::precise {
namespace {

PaddedImage randomPadded(const Grid& grid, unsigned seed) {
    PaddedImage image(grid.columns(), grid.rows());
    for (int y = 0; y < grid.rows(); ++y) {
        const std::vector<float> values = test::randomVector(grid.columns(), seed + static_cast<unsigned>(y));
        std::copy(values.begin(), values.end(), image.row(y));
    }
    return image;
}

Buffer<float> randomBuffer(const Grid& grid, unsigned seed, float lowest) {
    Buffer<float> out(static_cast<std::size_t>(grid.width) * static_cast<std::size_t>(grid.height));
    const std::vector<float> values = test::randomVector(static_cast<int>(out.size()), seed);
    for (std::size_t q = 0; q < out.size(); ++q) out[q] = std::max(values[q], lowest);
    return out;
}

double dot(const PaddedImage& a, const PaddedImage& b) {
    double sum = 0.0;
    for (int y = 0; y < a.rows(); ++y) {
        for (int x = 0; x < a.columns(); ++x)
            sum += static_cast<double>(a.row(y)[x]) * static_cast<double>(b.row(y)[x]);
    }
    return sum;
}

/// Frames that are shifted, turned, and left out.
std::vector<FrameState> frames(const Grid& grid) {
    std::vector<FrameState> out(3);
    out[0].motion.tx = 1.3;
    out[0].motion.ty = -2.8;
    out[1].motion.axx = out[1].motion.ayy = 0.004;
    out[1].motion.ayx = 0.03;
    out[1].motion.axy = -0.03;
    out[2].used = false;
    for (unsigned k = 0; k < 3; ++k) {
        out[k].runs = sampleRuns(grid, out[k].motion);
        out[k].weight = randomBuffer(grid, 50 + k, 0.0f);
    }
    return out;
}

/// A grid with frames on it, and what their operator has to give.
struct OperatorCase {
    explicit OperatorCase(const Grid& g)
        : grid(g),
          shown(frames(g)),
          u(randomPadded(g, 100)),
          v(randomPadded(g, 200)),
          z(test::randomVector(g.width, 7)),
          out(g.columns(), g.rows()),
          frameOperator(g, 0.683 * g.factor / 2.0) {
        frameOperator.place(shown);
        sumUp();
    }

    /// <u, A v> = sum over the frames of <S B u, w S B v>, and <u, B^T S^T z> = <S B u, z>.
    void sumUp() {
        const SplineImage ofU(grid), ofV(grid);
        frameOperator.blur().toCoefficients(u, ofU);
        frameOperator.blur().toCoefficients(v, ofV);
        std::vector<float> sampleU(z.size()), sampleV(z.size());
        double pixels = 0.0;
        for (std::size_t k = 0; k < 2; ++k) {
            for (const SampleRun& run : shown[k].runs) {
                preciseKernels().sample(ofU.view(), run, sampleU.data());
                preciseKernels().sample(ofV.view(), run, sampleV.data());
                for (int i = run.first; i < run.first + run.count; ++i) {
                    const std::size_t at = static_cast<std::size_t>(i);
                    const double weight = shown[k].weight.data()[grid.rowStart(run.y) + i], value = z[at];
                    applied += weight * static_cast<double>(sampleU[at]) * static_cast<double>(sampleV[at]);
                    gathered += value * static_cast<double>(sampleU[at]);
                    spread += value;
                    pixels += 1.0;
                }
            }
        }
        // Every sample, and its way back, is some forty roundings of values of up to 1.7^2 for the filter's taps.
        bound = pixels * 2.9 * 80.0 * std::ldexp(1.0, -24);
    }

    Grid grid;
    std::vector<FrameState> shown;
    PaddedImage u, v;
    std::vector<float> z;
    PaddedImage out;
    FrameOperator frameOperator;
    double applied = 0.0, gathered = 0.0, spread = 0.0, bound = 0.0;
};

template <class Test>
void onEveryGrid(Test test) {
    for (const Grid& grid :
         {Grid{8, 8, 2, 4}, Grid{9, 13, 1, 4}, Grid{11, 8, 3, 4}, Grid{17, 9, 4, 4}, Grid{40, 37, 2, 4}}) {
        SCOPED_TRACE(::testing::Message() << grid.width << " x " << grid.height << " by " << grid.factor);
        OperatorCase theCase(grid);
        test(theCase);
    }
}

}  // namespace

TEST(FrameOperator, IsSamplingAndItsAdjointRowByRow) {
    onEveryGrid([](OperatorCase& s) {
        const PaddedImage unread(s.grid.columns(), s.grid.rows());
        int read = 0, finished = 0;
        s.frameOperator.apply(
            unread,
            [&](int y) {
                EXPECT_EQ(y, read++);
                std::copy_n(s.v.row(y), s.grid.columns(), unread.row(y));
            },
            [&](const FrameOperator::SweptRow& row) {
                EXPECT_EQ(row.y, finished++);
                EXPECT_EQ(row.opensBand, row.y == 0);
                EXPECT_GE(read, std::min(row.y + 3, s.grid.rows()));
            },
            s.out);
        EXPECT_EQ(finished, s.grid.rows());
        EXPECT_NEAR(dot(s.u, s.out), s.applied, s.bound);
    });
}

TEST(FrameOperator, GathersAndSpreadsByTheAdjoint) {
    onEveryGrid([](OperatorCase& s) {
        const auto values = [&s](std::size_t k, const SampleRun& run, float* row) {
            EXPECT_LT(k, 2U);
            std::copy_n(s.z.data() + run.first, run.count, row + run.first);
        };
        s.frameOperator.gather(values, s.out);
        EXPECT_NEAR(dot(s.u, s.out), s.gathered, s.bound);
        s.frameOperator.spread(values, s.out);
        const PaddedImage ones(s.grid.columns(), s.grid.rows());
        for (int y = 0; y < s.grid.rows(); ++y) std::fill_n(ones.row(y), s.grid.columns(), 1.0f);
        EXPECT_NEAR(dot(ones, s.out), s.spread, s.bound);
    });
}

}  // namespace oravo::vision::detail::precise
