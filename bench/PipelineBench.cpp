/// Intake, registration and whole runs of the pipelines, and the memory of a session.

#include <malloc.h>

#include <fstream>
#include <string>

#include "bench/Workload.h"
#include "capi/Burst.h"
#include "capi/SuperResolution.h"
#include "vision/superresolution/SrFloat.h"
#include "vision/superresolution/SrFloatNeon.h"
#include "vision/superresolution/SrFloatNeonRegistration.h"
#include "vision/superresolution/SrFloatRegistration2.h"
#include "vision/superresolution/SrPrecise.h"

namespace oravo::bench {
namespace {

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
/// @param setUp  what is to be set of the pipeline beforehand
template <class Pipeline, class SetUp>
void intakeAndRun(benchmark::State& state, SetUp setUp) {
    Workload load(state);
    const QuietOutput quiet;
    Pipeline pipeline(load.width, load.height, kFrames, kFactor);
    setUp(pipeline);
    for (const Image& frame : load.frames) pipeline.addFrame(frame);
    Image out(2 * load.height, 2 * load.width);
    pipeline.computeSR(out);  // the first run meets memory that nobody touched
    std::size_t next = 0;
    for (auto _ : state) {
        pipeline.addFrame(load.frames[next++ % kFrames]);
        if (pipeline.computeSR(out) < 1.0f) state.SkipWithError("computeSR failed");
    }
}

template <class Pipeline>
void intakeAndRun(benchmark::State& state) {
    intakeAndRun<Pipeline>(state, [](Pipeline&) {});
}

void pipelineFloat(benchmark::State& state) {
    intakeAndRun<vision::SrFloat<vision::SrFloatRegistration2>>(state);
}
void pipelineVector(benchmark::State& state) {
    intakeAndRun<vision::SrFloatNeon<vision::SrFloatNeonRegistration>>(state);
}

void addImage(benchmark::State& state) {
    Workload load(state);
    const QuietOutput quiet;
    const int handle = SuperResolution_init(load.width, load.height);
    for (const Image& frame : load.frames) SuperResolution_addImage(handle, frame.ptr<float>());
    std::size_t next = 0;
    for (auto _ : state) {
        const int code = SuperResolution_addImage(handle, load.frames[next++ % kFrames].ptr<float>());
        if (code != 0) state.SkipWithError("addImage failed");
    }
    SuperResolution_release(handle);
}

/// The same through a burst.
void burstImage(benchmark::State& state) {
    Workload load(state);
    oravo_burst_options options;
    oravo_burst_options_init(&options, sizeof options);
    options.pipeline = ORAVO_BURST_FLOAT;
    const oravo_burst burst = oravo_burst_create(load.width, load.height, &options);
    for (const Image& frame : load.frames) oravo_burst_add(burst, frame.ptr<float>(), 0);
    // The first run meets memory that nobody touched.
    oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE);
    std::size_t next = 0;
    for (auto _ : state) {
        oravo_burst_add(burst, load.frames[next++ % kFrames].ptr<float>(), 0);
        if (oravo_burst_reconstruct(burst, ORAVO_BURST_OWN_REFERENCE) != ORAVO_BURST_OK)
            state.SkipWithError("no image");
    }
    oravo_burst_destroy(burst);
}

/// A whole image of the precise engine, from five frames that nothing is known about.
void precise(benchmark::State& state) {
    const Workload load(state);
    const vision::SrPrecise engine(load.width, load.height);
    const std::vector<cv::Mat_<float>> frames(load.frames.begin(), load.frames.end());
    for (auto _ : state) {
        const vision::SrPreciseResult result = engine.compute(frames, 1);
        if (!(result.withheldError < result.bicubicError)) state.SkipWithError("no better than bicubic");
    }
}

/// What a frame costs the float pipeline by so many threads.
void floatThreads(benchmark::State& state) {
    intakeAndRun<vision::SrFloat<vision::SrFloatRegistration2>>(state, [&](auto& pipeline) {
        pipeline.setReferenceIndex(3);
        pipeline.setThreads(static_cast<int>(state.range(2)));
    });
}

/// The same of the precise engine.
void preciseThreads(benchmark::State& state) {
    const Workload load(state);
    vision::SrPreciseOptions options;
    options.threads = static_cast<int>(state.range(2));
    const vision::SrPrecise engine(load.width, load.height, options);
    const std::vector<cv::Mat_<float>> frames(load.frames.begin(), load.frames.end());
    for (auto _ : state) engine.compute(frames, 1);
}

/// One of the figures that the kernel keeps of this process, in bytes.
double accountOf(const std::string& field) {
    std::ifstream account("/proc/self/status");
    for (std::string word; account >> word;) {
        double kibibytes = 0.0;
        if (word == field && account >> kibibytes) return 1024.0 * kibibytes;
    }
    return 0.0;
}

/// Bytes of the method's buffers when none is shared, per pixel of a frame: five frames, their moved copies and
/// blurred ones; five masks and defect maps; five 8-bit pyramids with their two 16-bit derivatives; two
/// gradients, the error image, and the smoothed one; one enlarged image in four bytes, and eleven in the
/// solver, with one small scratch image.
double bytesOfAllBuffers(int width, int height) {
    const double frame = 4.0 * width * height;
    const double bytes = frame / 4.0;
    const double pyramid = (1.0 + 4.0) * bytes * 4.0 / 3.0;
    const double extended = 4.0 * (2.0 * width + 5.0) * (2.0 * height + 5.0);
    return 5.0 * (3.0 * frame + 2.0 * bytes + pyramid) + 4.0 * frame + 4.0 * frame + 11.0 * extended + frame;
}

/// The peak of resident memory that work adds, in bytes.
template <class Work>
double peakOf(Work work) {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";  // forgets the peak so far
    const double before = accountOf("VmRSS:");
    work();
    return accountOf("VmHWM:") - before;
}

/// That of a session, from its set-up through two images.
void sessionMemory(benchmark::State& state) {
    const Workload load(state);
    const QuietOutput quiet;
    const auto session = [&load] {
        const int handle = SuperResolution_init(load.width, load.height);
        for (int i = 0; i <= kFrames; ++i) {
            SuperResolution_addImage(handle, load.frames[static_cast<std::size_t>(i % kFrames)].ptr<float>());
        }
        SuperResolution_release(handle);
    };
    for (auto _ : state) {
        const double peak = peakOf(session);
        state.counters["MB"] = peak / 1e6;
        state.counters["of_buffers"] = peak / bytesOfAllBuffers(load.width, load.height);
    }
}

/// That of an image of the precise engine.
void preciseMemory(benchmark::State& state) {
    const Workload load(state);
    const std::vector<cv::Mat_<float>> frames(load.frames.begin(), load.frames.end());
    const auto image = [&] { vision::SrPrecise(load.width, load.height).compute(frames, 1); };
    for (auto _ : state) state.counters["MB"] = peakOf(image) / 1e6;
}

BENCHMARK(preciseMemory)->Args({640, 480})->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(precise)->Apply(sizes);
BENCHMARK(preciseThreads)->Apply(threads);
BENCHMARK(floatThreads)->Apply(threads);
BENCHMARK(sessionMemory)->Args({640, 480})->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(registration)->Apply(sizes);
BENCHMARK(addFrame)->Apply(sizes);
BENCHMARK(pipelineFloat)->Apply(sizes);
BENCHMARK(pipelineVector)->Apply(sizes);
BENCHMARK(addImage)->Apply(sizes)->Args({1280, 960});
BENCHMARK(burstImage)->Apply(sizes)->Args({1280, 960});

}  // namespace
}  // namespace oravo::bench
