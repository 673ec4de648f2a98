#include "vision/superresolution/BadPixel.h"

#include <benchmark/benchmark.h>

#include "tests/plain/PlainBadPixel.h"

namespace {

using oravo::vision::BadPixel;

constexpr short kLo = 0;
constexpr short kHi = 16383;
constexpr unsigned short kMaxCount = 10;
constexpr unsigned short kSpan = 100;
constexpr int kCapacity = 1000;

/// 14-bit counts of a smooth scene with noise, and a few values far from it.
cv::Mat_<short> frameWith(int isolatedValues) {
    cv::Mat_<short> frame(512, 640);
    cv::RNG rng(3);
    for (int y = 0; y < frame.rows; ++y) {
        for (int x = 0; x < frame.cols; ++x) {
            frame(y, x) = static_cast<short>(8000 + x + y + cvRound(rng.gaussian(20.0)));
        }
    }
    for (int i = 0; i < isolatedValues; ++i) {
        frame(rng.uniform(0, 512), rng.uniform(0, 640)) = static_cast<short>(200 + 140 * i);
    }
    return frame;
}

template <class Search>
void searchFrame(benchmark::State& state, Search search) {
    const auto isolatedValues = static_cast<int>(state.range(0));
    const cv::Mat_<short> frame = frameWith(isolatedValues);
    cv::Mat_<int> original;
    BadPixel::buildValueHistogram(frame, original, kLo, kHi);
    cv::Mat_<int> histogram = original.clone();
    for (auto _ : state) {
        original.copyTo(histogram);
        cv::Mat_<ushort> list(kCapacity, 10);
        const bool complete = search(frame, histogram, list);
        if (!complete || list.rows != isolatedValues) {
            state.SkipWithError("the list is not the one expected");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(frame.total() * sizeof(short)));
}

void BM_BadPixelSearch(benchmark::State& state) {
    searchFrame(state, [](const auto& frame, auto& histogram, auto& list) {
        return BadPixel::performNeighbourSearch(frame, histogram, list, kLo, kHi, kMaxCount, kSpan);
    });
}
BENCHMARK(BM_BadPixelSearch)->Arg(5)->Arg(50);

void BM_BadPixelSearchPlain(benchmark::State& state) {
    searchFrame(state, [](const auto& frame, auto& histogram, auto& list) {
        return oravo::plain::neighbourSearch(frame, histogram, list, kLo, kHi, kMaxCount, kSpan);
    });
}
BENCHMARK(BM_BadPixelSearchPlain)->Arg(5)->Arg(50);

void BM_BadPixelHistogram(benchmark::State& state) {
    const cv::Mat_<short> frame = frameWith(5);
    cv::Mat_<int> histogram;
    for (auto _ : state) {
        benchmark::DoNotOptimize(BadPixel::buildValueHistogram(frame, histogram, kLo, kHi));
    }
}
BENCHMARK(BM_BadPixelHistogram);

/// What reading the frame once costs.
void BM_BadPixelReadFrame(benchmark::State& state) {
    const cv::Mat_<short> frame = frameWith(5);
    for (auto _ : state) benchmark::DoNotOptimize(cv::sum(frame));
}
BENCHMARK(BM_BadPixelReadFrame);

/// Merging a list of 2000 rows into one of 20000, all of which are checked for replacements that turned bad.
void BM_BadPixelAppend(benchmark::State& state) {
    const cv::Size size(640, 512);
    cv::RNG rng(4);
    const auto scatter = [&](int rows) {
        cv::Mat_<ushort> list(rows, 10, ushort{0});
        for (int i = 0; i < rows; ++i) {
            list(i, 0) = static_cast<ushort>(rng.uniform(0, size.width));
            list(i, 1) = static_cast<ushort>(rng.uniform(0, size.height));
            list(i, 2) = static_cast<ushort>(size.width);
            list(i, 3) = static_cast<ushort>(size.height);
        }
        return list;
    };
    cv::Mat running;
    BadPixel::appendBadPixel(scatter(20000), running, size, 5);
    const cv::Mat_<ushort> more = scatter(2000);
    for (auto _ : state) {
        cv::Mat list = running;
        if (!BadPixel::appendBadPixel(more, list, size, 5)) state.SkipWithError("refused");
    }
}
BENCHMARK(BM_BadPixelAppend)->Unit(benchmark::kMillisecond);

}  // namespace
