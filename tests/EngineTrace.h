#ifndef ORAVO_TESTS_ENGINETRACE_H
#define ORAVO_TESTS_ENGINETRACE_H

#include <vector>

#include "tests/TestScenes.h"
#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/detail/numerics/Reductions.h"
#include "vision/superresolution/detail/solver/DenseEngine.h"
#include "vision/superresolution/detail/solver/SplitEngine.h"

/// The solver's engines side by side: a problem for them, and everything they can be seen to do with it.
namespace oravo::test {

using vision::detail::FrameSize;

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
                engine.updateDirection(0.4f);
                images.emplace_back(2 * low.height, 2 * low.width);
                engine.crop(2, 2 * low.width, 2 * low.height, 1.5f, -2.0f, images.back().ptr<float>());
            }
        }
    }
    FrameSize low;
    std::vector<double> sums;
    std::vector<Image> images;
};

}  // namespace oravo::test

#endif
