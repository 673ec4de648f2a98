/// The solver and its operators, 5 frames and factor 2; plain twins and the vector family for comparison with
/// the float family, and copies of an enlarged image for what the memory allows.

#include <algorithm>

#include "bench/Workload.h"
#include "tests/plain/PlainMinimization.h"
#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/detail/numerics/GaussianPsf.h"
#include "vision/superresolution/detail/solver/SplitEngine.h"

namespace oravo::bench {
namespace {

/// Reconstructions from a fresh copy of the frames, which the solver normalises in place.
template <class Solver, class Mask>
void runMinimize(benchmark::State& state, const Workload& load, Solver& solver, Mask** masks) {
    Image out(2 * load.height, 2 * load.width);
    std::vector<Image> frames = test::clones(load.frames);
    const std::vector<float*> pointers = test::pointers(frames);
    for (auto _ : state) {
        for (std::size_t k = 0; k < kFrames; ++k) load.frames[k].copyTo(frames[k]);
        const int steps =
            solver.minimize(kFrames, 0, pointers.data(), load.shifts.data(), masks, out.ptr<float>());
        state.counters["steps"] = steps;
        benchmark::DoNotOptimize(out.data);
    }
}

/// Eight steps, however far they get.
void minimize(benchmark::State& state) {
    Workload load(state);
    vision::SrFloatMinimization solver(load.width, load.height, kFrames, kFactor);
    solver.setRelRes(0.0f);
    runMinimize(state, load, solver, load.masks.pointers.data());
}

void minimizeVector(benchmark::State& state) {
    Workload load(state);
    vision::SrFloatNeonMinimization solver(load.width, load.height, kFrames, kFactor);
    solver.setRelRes(0.0f);
    std::vector<float> ones(static_cast<std::size_t>(load.width * load.height), 1.0f);
    std::vector<float*> masks(kFrames, ones.data());
    runMinimize(state, load, solver, masks.data());
}

void minimizePlain(benchmark::State& state) {
    Workload load(state);
    plain::Minimization solver(load.width, load.height, kFactor);
    solver.relRes = 0.0f;
    runMinimize(state, load, solver, load.masks.pointers.data());
}

/// One application of A = L + sum_k H_k^T M_k H_k, with the dot product that a step needs of it.
void applyOperator(benchmark::State& state) {
    Workload load(state);
    float base[kTaps], h[kFrames][kTaps], w[kFrames][kTaps];
    vision::detail::gaussianPsf(0.683f, kFactor, kTaps, base);
    std::vector<vision::detail::SplitEngine::Frame> frames;
    for (std::size_t k = 0; k < kFrames; ++k) {
        vision::detail::shiftedPsf(base, kTaps, kFactor * load.shifts[k].x, h[k]);
        vision::detail::shiftedPsf(base, kTaps, kFactor * load.shifts[k].y, w[k]);
        frames.push_back({load.frames[k].ptr<float>(), h[k], w[k], load.masks.pointers[k]});
    }
    vision::detail::SplitEngine engine({load.width, load.height}, kFrames);
    engine.backProject(frames.data(), kFrames);
    engine.freeze(-1.0f / 400.0f, 0.1f, 10.0f);
    engine.startResidual();
    for (auto _ : state) benchmark::DoNotOptimize(engine.applyToDirection());
}

void applyOperatorPlain(benchmark::State& state) {
    Workload load(state);
    plain::Minimization twin(load.width, load.height, kFactor);
    const std::vector<float> v = load.extended();
    std::vector<float> out(v.size());
    twin.generatePsfs(kFrames, load.shifts.data());
    twin.totalVariation.freeze(v, 400.0f, 0.1f);
    for (auto _ : state) {
        twin.gradient(v, kFrames, load.masks.pointers.data(), out);
        benchmark::DoNotOptimize(out.data());
    }
}

/// The operator pair of one frame by itself, as hosts call it.
template <class Operators, class Mask>
void operatorPair(benchmark::State& state) {
    const Workload load(state);
    Operators operators(2 * load.width, 2 * load.height, kTaps, kTaps, kFactor);
    const std::vector<float> in = load.extended(), taps = test::randomVector(kTaps, 2);
    const std::vector<Mask> mask(static_cast<std::size_t>(load.width * load.height), Mask(1));
    std::vector<float> samples(mask.size()), out(in.size());
    for (auto _ : state) {
        operators.validCorrToSparse(in.data(), taps.data(), taps.data(), samples.data());
        operators.fullConvFromSparse(samples.data(), taps.data(), taps.data(), mask.data(), out.data());
        benchmark::DoNotOptimize(out.data());
    }
}
void operatorsFloat(benchmark::State& state) {
    operatorPair<vision::SrFloatConvolution, char>(state);
}
void operatorsVector(benchmark::State& state) {
    operatorPair<vision::SrFloatNeonConvolution, float>(state);
}

/// Copies of one enlarged image around a ring of `images`: two stay in a cache, many come from main memory, as the
/// vectors of a solver at work do.
void copyImages(benchmark::State& state, int images) {
    const Workload load(state);
    const std::size_t n = load.extended().size();
    std::vector<std::vector<float>> ring(static_cast<std::size_t>(images), std::vector<float>(n, 1.0f));
    std::size_t next = 0;
    for (auto _ : state) {
        const std::vector<float>& source = ring[next];
        next = (next + 1) % ring.size();
        std::copy(source.begin(), source.end(), ring[next].begin());
        benchmark::ClobberMemory();
    }
}
void copyEnlarged(benchmark::State& state) {
    copyImages(state, 2);
}
void copyEnlargedFromMemory(benchmark::State& state) {
    copyImages(state, 24);
}

/// A reconstruction at default parameters, which ends when it has converged.
void reconstruct(benchmark::State& state) {
    Workload load(state);
    vision::SrFloatMinimization solver(load.width, load.height, kFrames, kFactor);
    runMinimize(state, load, solver, load.masks.pointers.data());
}

BENCHMARK(minimize)->Apply(sizes);
BENCHMARK(minimizeVector)->Apply(sizes);
BENCHMARK(minimizePlain)->Apply(sizes);
BENCHMARK(reconstruct)->Apply(sizes);
BENCHMARK(applyOperator)->Apply(sizes);
BENCHMARK(applyOperatorPlain)->Apply(sizes);
BENCHMARK(operatorsFloat)->Apply(sizes);
BENCHMARK(operatorsVector)->Apply(sizes);
BENCHMARK(copyEnlarged)->Apply(sizes);
BENCHMARK(copyEnlargedFromMemory)->Apply(sizes);

}  // namespace
}  // namespace oravo::bench
