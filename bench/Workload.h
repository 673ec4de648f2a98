#ifndef ORAVO_BENCH_WORKLOAD_H
#define ORAVO_BENCH_WORKLOAD_H

#include <benchmark/benchmark.h>

#include <iostream>
#include <vector>

#include "tests/TestScenes.h"

namespace oravo::bench {

using test::Image;
using test::Point;

constexpr int kFrames = 5;
constexpr float kFactor = 2.0f;
constexpr int kTaps = 6;

/// A noisy burst, for which the solver takes two or three steps at default parameters, as it does for recordings;
/// sub-pixel remainders as they reach the solver, and all-valid masks.
struct Workload {
    int width, height;
    std::vector<Point> shifts{{0, 0}, {0.4f, -0.3f}, {-0.2f, 0.45f}, {0.1f, 0.2f}, {-0.45f, -0.1f}};
    std::vector<Image> frames;
    test::Masks masks;

    explicit Workload(const benchmark::State& state)
        : width(static_cast<int>(state.range(0))),
          height(static_cast<int>(state.range(1))),
          masks(kFrames, width * height) {
        const test::Scene scene(1, rowsOfScene(height), rowsOfScene(width));
        cv::RNG random(1);
        for (const Point& shift : shifts) {
            frames.push_back(scene.frame(height, width, shift, kPitch));
            Image noise(height, width);
            random.fill(noise, cv::RNG::NORMAL, 0.0, kNoise);
            frames.back() += noise;
        }
    }
    int extendedWidth() const { return 2 * width + kTaps - 1; }
    int extendedHeight() const { return 2 * height + kTaps - 1; }
    std::vector<float> extended() const { return test::randomVector(extendedWidth() * extendedHeight(), 1); }

  private:
    static constexpr double kPitch = 0.25;
    static constexpr double kNoise = 0.2;
    static int rowsOfScene(int pixels) { return static_cast<int>(pixels * kPitch); }
};

/// Runs of a pipeline print reports; while this lives they are not shown.
struct QuietOutput {
    QuietOutput() { std::cout.setstate(std::ios::failbit); }
    ~QuietOutput() { std::cout.clear(); }
};

inline void sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({160, 120})->Args({320, 240})->Args({640, 480})->Unit(benchmark::kMillisecond);
}

/// Sizes, each with one thread and two; time is that of the clock, not of the processors.
inline void threads(benchmark::internal::Benchmark* benchmark) {
    for (const int width : {320, 640, 1280}) {
        for (const int count : {1, 2}) benchmark->Args({width, width / 4 * 3, count});
    }
    benchmark->Unit(benchmark::kMillisecond)->UseRealTime();
}

}  // namespace oravo::bench

#endif
