/// Times of the engines at three frame sizes, 5 frames and factor 2, on one thread; the plain twins and
/// the vector family run beside the float family, and the copy of one enlarged image is the yardstick of what
/// memory allows.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <iostream>

#include "capi/SuperResolution.h"
#include "tests/TestScenes.h"
#include "tests/plain/PlainMinimization.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatConvolution.h"
#include "vision/superresolution/SrFloatMinimization.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonConvolution.h"
#include "vision/superresolution/SrFloatNeonMinimization.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/detail/GaussianPsf.h"
#include "vision/superresolution/detail/SplitEngine.h"

namespace oravo {
namespace {

using test::Image;
using test::Point;

constexpr int kFrames = 5;
constexpr float kFactor = 2.0f;
constexpr int kTaps = 6;

/// A burst with sub-pixel remainders as they reach the solver, and all-valid masks.
struct Workload {
    int width, height;
    std::vector<Point> shifts{{0, 0}, {0.4f, -0.3f}, {-0.2f, 0.45f}, {0.1f, 0.2f}, {-0.45f, -0.1f}};
    std::vector<Image> frames;
    test::Masks masks;

    explicit Workload(const benchmark::State& state)
        : width(static_cast<int>(state.range(0))),
          height(static_cast<int>(state.range(1))),
          masks(kFrames, width * height) {
        const test::Scene scene(1, height / 4, width / 4);
        for (const Point& shift : shifts) frames.push_back(scene.frame(height, width, shift, 0.25));
    }
    int extendedWidth() const { return 2 * width + kTaps - 1; }
    int extendedHeight() const { return 2 * height + kTaps - 1; }
    std::vector<float> extended() const { return test::randomVector(extendedWidth() * extendedHeight(), 1); }
};

/// Eight steps over a fresh copy of the frames, which the solver normalises in place.
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

void copyEnlarged(benchmark::State& state) {
    const Workload load(state);
    const std::vector<float> source = load.extended();
    std::vector<float> target(source.size());
    for (auto _ : state) {
        std::copy(source.begin(), source.end(), target.begin());
        benchmark::DoNotOptimize(target.data());
        benchmark::ClobberMemory();
    }
}

void registration(benchmark::State& state) {
    Workload load(state);
    vision::SrFloatRegistration2 engine(load.width, load.height, kFrames);
    for (const Image& frame : load.frames) engine.prepareFrame(frame.ptr<float>());
    std::vector<Image> moved = test::clones(load.frames);
    const std::vector<float*> frames = test::pointers(load.frames);
    std::vector<float*> targets = test::pointers(moved);
    std::vector<Point> shifts(kFrames);
    for (auto _ : state) {
        const int code = engine.doRegistration(kFrames, 0, frames.data(), shifts.data(),
                                               load.masks.pointers.data(), targets.data());
        if (code != 0) state.SkipWithError("registration failed");
    }
}

void addFrame(benchmark::State& state) {
    Workload load(state);
    vision::SrFloat<vision::SrFloatRegistration2> pipeline(load.width, load.height, kFrames, kFactor);
    std::size_t next = 0;
    for (auto _ : state) pipeline.addFrame(load.frames[next++ % kFrames].ptr<float>());
}

/// What a frame costs once the window is full: intake and run.
template <class Pipeline>
void intakeAndRun(benchmark::State& state) {
    Workload load(state);
    std::cout.setstate(std::ios::failbit);  // runs may print reports
    Pipeline pipeline(load.width, load.height, kFrames, kFactor);
    for (const Image& frame : load.frames) pipeline.addFrame(frame);
    Image out(2 * load.height, 2 * load.width);
    std::size_t next = 0;
    for (auto _ : state) {
        pipeline.addFrame(load.frames[next++ % kFrames]);
        if (pipeline.computeSR(out) < 1.0f) state.SkipWithError("computeSR failed");
    }
    std::cout.clear();
}
void pipelineFloat(benchmark::State& state) {
    intakeAndRun<vision::SrFloat<vision::SrFloatRegistration2>>(state);
}
void pipelineVector(benchmark::State& state) {
    intakeAndRun<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>(state);
}

void addImage(benchmark::State& state) {
    Workload load(state);
    std::cout.setstate(std::ios::failbit);  // every run prints a report
    const int handle = SuperResolution_init(load.width, load.height);
    for (const Image& frame : load.frames) SuperResolution_addImage(handle, frame.ptr<float>());
    std::size_t next = 0;
    for (auto _ : state) {
        const int code = SuperResolution_addImage(handle, load.frames[next++ % kFrames].ptr<float>());
        if (code != 0) state.SkipWithError("addImage failed");
    }
    SuperResolution_release(handle);
    std::cout.clear();
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({160, 120})->Args({320, 240})->Args({640, 480})->Unit(benchmark::kMillisecond);
}

BENCHMARK(minimize)->Apply(sizes);
BENCHMARK(minimizeVector)->Apply(sizes);
BENCHMARK(minimizePlain)->Apply(sizes);
BENCHMARK(applyOperator)->Apply(sizes);
BENCHMARK(applyOperatorPlain)->Apply(sizes);
BENCHMARK(operatorsFloat)->Apply(sizes);
BENCHMARK(operatorsVector)->Apply(sizes);
BENCHMARK(copyEnlarged)->Apply(sizes);
BENCHMARK(registration)->Apply(sizes);
BENCHMARK(addFrame)->Apply(sizes);
BENCHMARK(pipelineFloat)->Apply(sizes);
BENCHMARK(pipelineVector)->Apply(sizes);
BENCHMARK(addImage)->Apply(sizes);

}  // namespace
}  // namespace oravo

int main(int argc, char** argv) {
    cv::setNumThreads(1);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
