#include "vision/superresolution/detail/SplitEngine.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/detail/DenseEngine.h"
#include "vision/superresolution/detail/Reductions.h"

namespace oravo::test {
namespace {

using vision::detail::FrameSize;
using vision::detail::InstructionSet;
using vision::detail::SplitEngine;

struct PlainFamily {
    using Mask = char;
    using Convolution = vision::SrFloatConvolution;
    using Sums = vision::detail::DoubleSums;
    static constexpr auto kFirstPixel = vision::detail::TotalVariation::FirstPixel::own;
};
using DenseEngine = vision::detail::DenseEngine<PlainFamily>;
using Engine = vision::detail::SolverEngine<char, double>;

constexpr int kTaps = 6;

/// Random frames, masks and kernels for one call of backProject.
struct Problem {
    Problem(FrameSize size, int count, unsigned seed) : low(size) {
        const int pixels = size.pixelCount();
        for (int k = 0; k < count; ++k) {
            const unsigned own = seed + 10U * static_cast<unsigned>(k);
            samples.push_back(randomVector(pixels, own));
            kernels.push_back(randomVector(2 * kTaps, own + 1, 0.0f, 0.4f));
            const std::vector<float> keep = randomVector(pixels, own + 2, 0.0f, 1.0f);
            masks.emplace_back();
            for (const float u : keep) masks.back().push_back(u < 0.8f ? 1 : 0);
        }
        for (std::size_t k = 0; k < samples.size(); ++k) {
            frames.push_back(
                {samples[k].data(), kernels[k].data(), kernels[k].data() + kTaps, masks[k].data()});
        }
    }
    FrameSize low;
    std::vector<std::vector<float>> samples, kernels;
    std::vector<std::vector<char>> masks;
    std::vector<Engine::Frame> frames;
};

/// Everything an engine can be seen to do in two restarts, with fixed step lengths so that engines whose sums
/// differ in the last bit still go the same way: the estimates after each stage, and the sums.
struct Trace {
    Trace(Engine& engine, const Problem& problem) : low(problem.low) {
        sums.push_back(engine.backProject(problem.frames.data(), static_cast<int>(problem.frames.size())));
        for (int restart = 0; restart < 2; ++restart) {
            const float epsilon = restart == 0 ? 0.1f : 2.0f;  // above 1 the two bounds cross over
            engine.freeze(-1.0f / 3.0f, epsilon, 1.0f / epsilon);
            sums.push_back(engine.startResidual());
            for (int i = 0; i < 2; ++i) {
                sums.push_back(engine.applyToDirection());
                sums.push_back(engine.step(0.03f));
                engine.turn(0.4f);
                images.emplace_back(2 * low.height, 2 * low.width);
                engine.crop(2, 2 * low.width, 2 * low.height, 1.5f, -2.0f, images.back().ptr<float>());
            }
        }
    }
    FrameSize low;
    std::vector<double> sums;
    std::vector<Image> images;
};

TEST(SplitEngine, EveryLevelGivesTheBitsOfTheGeneralLoops) {
    const FrameSize sizes[] = {{1, 1},  {2, 1},  {1, 2},  {3, 5},  {13, 4},
                               {14, 3}, {15, 7}, {16, 2}, {17, 9}, {40, 31}};
    unsigned seed = 1;
    for (const FrameSize& size : sizes) {
        for (const int count : {1, 2, 3, 4, 5, 7}) {
            const Problem problem(size, count, ++seed);
            const FrameSize high{2 * size.width, 2 * size.height};
            DenseEngine dense(size, high, kTaps, 2.0f, {high.width + 5, high.height + 5}, count);
            const Trace expected(dense, problem);
            const Trace* first = nullptr;
            std::vector<Trace> traces;
            traces.reserve(3);
            for (const InstructionSet level :
                 {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
                if (!vision::detail::machineHas(level)) continue;
                SplitEngine split(size, count, level);
                const Trace& trace = traces.emplace_back(split, problem);
                if (first == nullptr) first = &trace;
                EXPECT_EQ(trace.sums, first->sums);
                for (std::size_t i = 0; i < trace.images.size(); ++i) {
                    ASSERT_TRUE(sameBits(trace.images[i], expected.images[i]))
                        << size.width << " x " << size.height << ", " << count << " frames, level "
                        << static_cast<int>(level) << ", stage " << i;
                }
                for (std::size_t i = 0; i < trace.sums.size(); ++i) {
                    // Sums of up to 5,000 terms in double: the order of additions shows below 5,000 ulp.
                    ASSERT_NEAR(trace.sums[i], expected.sums[i], 1e-12 * (1.0 + std::abs(expected.sums[i])));
                }
            }
        }
    }
}

TEST(SplitEngine, IsReusedWithoutTraces) {
    // A reconstruction that ended in nothing but NaN leaves no NaN behind.
    const FrameSize size{9, 7};
    const Problem good(size, 3, 5);
    Problem bad(size, 5, 6);
    bad.samples[0][3] = std::nanf("");
    for (float& tap : bad.kernels[1]) tap = std::nanf("");
    SplitEngine fresh(size, 5);
    SplitEngine used(size, 5);
    const Trace expected(fresh, good);
    const Trace broken(used, bad);
    EXPECT_TRUE(std::isnan(broken.sums.back()));
    const Trace again(used, good);
    EXPECT_EQ(again.sums, expected.sums);
    EXPECT_TRUE(sameBits(again.images.back(), expected.images.back()));
}

}  // namespace
}  // namespace oravo::test
