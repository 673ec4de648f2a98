#include "vision/superresolution/detail/transform/FftKernels.h"

#include <algorithm>
#include <type_traits>

#include "vision/superresolution/detail/transform/FftButterflies.h"

namespace oravo::vision::detail::fft_kernels {
namespace {

/// Bins k and n/2 - k between the transform Z of pairs and the bins X of the real signal. With
/// S, D = Z[k] +- conj Z[n/2 - k] and w = exp(-2 pi i k / n):
///   forward   X[k], conj X[n/2 - k] = (S -+ i w D) / 2
///   backward  Z[k], conj Z[n/2 - k] = S +- i conj(w) D,  S and D from X; twice the inverse of the former
template <int Lanes, bool Forward>
inline void exchangePair(Value root, const float* low, const float* high, float* lowOut, float* highOut) {
    constexpr float kScale = Forward ? 0.5f : 1.0f;
#pragma GCC ivdep
    for (int lane = 0; lane < Lanes; ++lane) {
        const Value a{low[lane], low[Lanes + lane]};
        const Value b = conjugate({high[lane], high[Lanes + lane]});
        const Value sum = a + b;
        const Value turned = quarterTurn<Forward>(turn<Forward>(a - b, root));
        const Value lowResult = kScale * (sum + turned);
        const Value highResult = conjugate(kScale * (sum - turned));
        lowOut[lane] = lowResult.re;
        lowOut[Lanes + lane] = lowResult.im;
        highOut[lane] = highResult.re;
        highOut[Lanes + lane] = highResult.im;
    }
}

template <int Lanes, bool Forward, class Position>
inline void exchange(const RealFftPlan& plan, const float* from, float* to, Position position) {
    const int half = plan.half().length();
    const auto at = [](int i) { return 2 * Lanes * static_cast<std::ptrdiff_t>(i); };
    float* zero = to + at(position(0));
    for (int lane = 0; lane < Lanes; ++lane) {
        const float re = from[lane];
        const float im = from[Lanes + lane];
        zero[lane] = re + im;
        zero[Lanes + lane] = re - im;
    }
    const float* twiddles = plan.twiddles();
    for (int k = 1; 2 * k <= half; ++k) {
        exchangePair<Lanes, Forward>({twiddles[2 * k], twiddles[2 * k + 1]}, from + at(k),
                                     from + at(half - k), to + at(position(k)), to + at(position(half - k)));
    }
}

constexpr int kElement = 2 * kLanes;

/// kLanes pointers to consecutive rows; lanes beyond the last row repeat it.
template <class T>
struct LaneRows {
    T* row[kLanes];
    int count;

    LaneRows(T* data, std::ptrdiff_t pitch, int first, int rows) : count(std::min(kLanes, rows - first)) {
        for (int lane = 0; lane < kLanes; ++lane)
            row[lane] = data + pitch * (first + std::min(lane, count - 1));
    }
};

}  // namespace

template <int Lanes, bool Forward>
void transform(const FftPlan& plan, float* block, double* scratch) {
    for (const FftPass& p : plan.passes()) {
        switch (p.radix) {
            case 2:
                pass<2, Lanes, Forward>(p, block, scratch);
                break;
            case 3:
                pass<3, Lanes, Forward>(p, block, scratch);
                break;
            case 4:
                pass<4, Lanes, Forward>(p, block, scratch);
                break;
            case 5:
                pass<5, Lanes, Forward>(p, block, scratch);
                break;
            default:
                generalPass<Lanes, Forward>(p, block, scratch);
        }
    }
}

template <int Lanes>
void untangle(const RealFftPlan& plan, float* block) {
    exchange<Lanes, true>(plan, block, block, [](int i) { return i; });
}

template <int Lanes>
void tangle(const RealFftPlan& plan, const float* bins, float* block) {
    const int* positions = plan.half().positions();
    exchange<Lanes, false>(plan, bins, block, [positions](int i) { return positions[i]; });
}

void forwardRows(const RealFftPlan& plan, int rows, const float* image, std::complex<float>* spectrum,
                 const BlockMemory& memory) {
    const int half = plan.half().length();
    const int* positions = plan.half().positions();
    for (int first = 0; first < rows; first += kLanes) {
        const LaneRows<const float> source(image, plan.length(), first, rows);
        for (int j = 0; j < half; ++j) {
            float* element = memory.block + kElement * static_cast<std::ptrdiff_t>(positions[j]);
            for (int lane = 0; lane < kLanes; ++lane) {
                element[lane] = source.row[lane][2 * j];
                element[kLanes + lane] = source.row[lane][2 * j + 1];
            }
        }
        transform<kLanes, true>(plan.half(), memory.block, memory.scratch);
        untangle<kLanes>(plan, memory.block);
        const LaneRows<std::complex<float>> target(spectrum, half + 1, first, rows);
        for (int lane = 0; lane < target.count; ++lane) {
            const float* element = memory.block + lane;
            std::complex<float>* bins = target.row[lane];
            bins[0] = element[0];
            bins[half] = element[kLanes];
            for (int k = 1; k < half; ++k) {
                element += kElement;
                bins[k] = {element[0], element[kLanes]};
            }
        }
    }
}

void backwardRows(const RealFftPlan& plan, int rows, const std::complex<float>* spectrum, float* image,
                  const BlockMemory& memory) {
    const int half = plan.half().length();
    for (int first = 0; first < rows; first += kLanes) {
        const LaneRows<const std::complex<float>> source(spectrum, half + 1, first, rows);
        for (int lane = 0; lane < kLanes; ++lane) {
            float* element = memory.bins + lane;
            const std::complex<float>* bins = source.row[lane];
            element[0] = bins[0].real();
            element[kLanes] = bins[half].real();
            for (int k = 1; k < half; ++k) {
                element += kElement;
                element[0] = bins[k].real();
                element[kLanes] = bins[k].imag();
            }
        }
        tangle<kLanes>(plan, memory.bins, memory.block);
        transform<kLanes, false>(plan.half(), memory.block, memory.scratch);
        const LaneRows<float> target(image, plan.length(), first, rows);
        for (int lane = 0; lane < target.count; ++lane) {
            const float* element = memory.block + lane;
            float* pixels = target.row[lane];
            for (int j = 0; j < half; ++j) {
                pixels[2 * j] = element[kElement * j];
                pixels[2 * j + 1] = element[kElement * j + kLanes];
            }
        }
    }
}

namespace {

/// The loop over rows with a number of lanes that is known when compiled, for all blocks but a last narrow
/// one.
template <bool Forward, class Count>
inline void transformColumnBlock(const FftPlan& plan, Count count, int columns, const float* from, float* to,
                                 const BlockMemory& memory) {
    const int* positions = plan.positions();
    const std::ptrdiff_t pitch = 2 * static_cast<std::ptrdiff_t>(columns);
    for (int y = 0; y < plan.length(); ++y) {
        float* element = memory.block + kElement * static_cast<std::ptrdiff_t>(positions[y]);
        const float* source = from + pitch * y;
        for (int lane = 0; lane < count; ++lane) {
            element[lane] = source[2 * lane];
            element[kLanes + lane] = source[2 * lane + 1];
        }
    }
    transform<kLanes, Forward>(plan, memory.block, memory.scratch);
    for (int y = 0; y < plan.length(); ++y) {
        const float* element = memory.block + kElement * static_cast<std::ptrdiff_t>(y);
        float* target = to + pitch * y;
        for (int lane = 0; lane < count; ++lane) {
            target[2 * lane] = element[lane];
            target[2 * lane + 1] = element[kLanes + lane];
        }
    }
}

}  // namespace

template <bool Forward>
void transformColumns(const FftPlan& plan, int columns, const std::complex<float>* from,
                      std::complex<float>* to, const BlockMemory& memory) {
    const float* source = reinterpret_cast<const float*>(from);
    float* target = reinterpret_cast<float*>(to);
    int first = 0;
    for (; first + kLanes <= columns; first += kLanes) {
        transformColumnBlock<Forward>(plan, std::integral_constant<int, kLanes>(), columns,
                                      source + 2 * first, target + 2 * first, memory);
    }
    if (first < columns) {
        transformColumnBlock<Forward>(plan, columns - first, columns, source + 2 * first, target + 2 * first,
                                      memory);
    }
}

template void transform<1, true>(const FftPlan&, float*, double*);
template void transform<1, false>(const FftPlan&, float*, double*);
template void untangle<1>(const RealFftPlan&, float*);
template void tangle<1>(const RealFftPlan&, const float*, float*);
template void transformColumns<true>(const FftPlan&, int, const std::complex<float>*, std::complex<float>*,
                                     const BlockMemory&);
template void transformColumns<false>(const FftPlan&, int, const std::complex<float>*, std::complex<float>*,
                                      const BlockMemory&);

}  // namespace oravo::vision::detail::fft_kernels
