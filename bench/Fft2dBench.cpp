#include <benchmark/benchmark.h>

#include <complex>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "vision/superresolution/SrFloatFft2d.h"

// SrFloatFft2d beside cv::dft, and the blur of a frame. Arguments are width and height.
namespace {

using Spectrum = std::vector<std::complex<float>>;

cv::Mat_<float> noise(const benchmark::State& state) {
    cv::Mat_<float> image(static_cast<int>(state.range(1)), static_cast<int>(state.range(0)));
    cv::RNG(1).fill(image, cv::RNG::NORMAL, 0.0, 1.0);
    return image;
}

Spectrum emptySpectrum(const cv::Mat_<float>& image) {
    return Spectrum(static_cast<std::size_t>(image.cols / 2 + 1) * static_cast<std::size_t>(image.rows));
}

void failUnlessScaled(benchmark::State& state, const cv::Mat_<float>& image, const cv::Mat_<float>& result,
                      double scale) {
    const double limit = 1e-5 * scale;
    if (cv::norm(result, image * scale, cv::NORM_INF) > limit)
        state.SkipWithError("The image did not come back.");
}

void fft2dForwardBackward(benchmark::State& state) {
    const cv::Mat_<float> image = noise(state);
    cv::Mat_<float> result(image.size());
    Spectrum spectrum = emptySpectrum(image);
    oravo::vision::SrFloatFft2d fft(image.cols, image.rows);
    for (auto _ : state) {
        fft.forward(image.ptr<float>(), spectrum.data());
        fft.backward(spectrum.data(), result.ptr<float>());
        benchmark::ClobberMemory();
    }
    failUnlessScaled(state, image, result, static_cast<double>(image.total()));
}

void openCvDft(benchmark::State& state, int forwardFlags) {
    cv::setNumThreads(1);
    const cv::Mat_<float> image = noise(state);
    cv::Mat spectrum;
    cv::Mat_<float> result;
    for (auto _ : state) {
        cv::dft(image, spectrum, forwardFlags);
        cv::dft(spectrum, result, cv::DFT_INVERSE | cv::DFT_REAL_OUTPUT);
        benchmark::ClobberMemory();
    }
    failUnlessScaled(state, image, result, static_cast<double>(image.total()));
    state.SetLabel(cv::ipp::useIPP() ? "with IPP" : "without IPP");
}

void fft2dForward(benchmark::State& state) {
    const cv::Mat_<float> image = noise(state);
    Spectrum spectrum = emptySpectrum(image);
    oravo::vision::SrFloatFft2d fft(image.cols, image.rows);
    for (auto _ : state) {
        fft.forward(image.ptr<float>(), spectrum.data());
        benchmark::ClobberMemory();
    }
}

void fft2dRepairGaussBlur(benchmark::State& state) {
    const cv::Mat_<float> image = noise(state);
    constexpr int kRadius = 5;
    Spectrum spectrum = emptySpectrum(image);
    float taps[kRadius + 1];
    oravo::vision::SrFloatFft2d fft(image.cols, image.rows);
    fft.gaussFft(kRadius, 1.7320508f, spectrum.data(), taps);
    cv::Mat_<float> blurred = image.clone();
    for (auto _ : state) {
        fft.repairGaussBlur(image.ptr<float>(), blurred.ptr<float>(), kRadius, taps);
        benchmark::ClobberMemory();
    }
}

void frameSizes(benchmark::internal::Benchmark* bench) {
    bench->Args({160, 120})->Args({320, 240})->Args({384, 288})->Args({640, 480});
    bench->Unit(benchmark::kMicrosecond);
}

BENCHMARK(fft2dForwardBackward)->Apply(frameSizes);
BENCHMARK_CAPTURE(openCvDft, packed, 0)->Apply(frameSizes);
BENCHMARK_CAPTURE(openCvDft, complexOutput, cv::DFT_COMPLEX_OUTPUT)->Apply(frameSizes);
BENCHMARK(fft2dForward)->Apply(frameSizes);
BENCHMARK(fft2dRepairGaussBlur)->Apply(frameSizes);

}  // namespace
