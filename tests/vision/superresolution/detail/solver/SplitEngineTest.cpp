#include "vision/superresolution/detail/solver/SplitEngine.h"

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <vector>

#include "tests/EngineTrace.h"

namespace oravo::test {
namespace {

using vision::detail::InstructionSet;
using vision::detail::SplitEngine;

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

TEST(SplitEngine, SharesTheWorkWithoutTraces) {
    const tbb::global_control workers(tbb::global_control::max_allowed_parallelism, 16);
    const FrameSize size{21, 97};
    const Problem problem(size, 4, 77);
    for (const InstructionSet level :
         {InstructionSet::baseline, InstructionSet::avx2, InstructionSet::avx512}) {
        if (!vision::detail::machineHas(level)) continue;
        SplitEngine alone(size, 4, level), shared(size, 4, level);
        const Trace expected(alone, problem);
        for (const int threads : {2, 3, 7, 16, 1}) {
            SCOPED_TRACE(::testing::Message() << threads << " threads, level " << static_cast<int>(level));
            shared.setThreads(vision::detail::Threads(threads));
            const Trace trace(shared, problem);
            EXPECT_EQ(trace.sums, expected.sums);
            for (std::size_t i = 0; i < trace.images.size(); ++i)
                EXPECT_TRUE(sameBits(trace.images[i], expected.images[i])) << "stage " << i;
        }
    }
}

TEST(SplitEngine, IsReusedWithoutTraces) {
    // A reconstruction that ended in nothing but NaN leaves no NaN in the engine.
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
