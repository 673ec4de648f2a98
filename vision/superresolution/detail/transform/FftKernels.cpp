#include "vision/superresolution/detail/transform/FftKernels.h"

#include <algorithm>
#include <type_traits>

namespace oravo::vision::detail::fft_kernels {
namespace {

struct Value {
    float re;
    float im;
};

inline Value operator+(Value a, Value b) {
    return {a.re + b.re, a.im + b.im};
}
inline Value operator-(Value a, Value b) {
    return {a.re - b.re, a.im - b.im};
}
inline Value operator*(float s, Value a) {
    return {s * a.re, s * a.im};
}
inline Value conjugate(Value a) {
    return {a.re, -a.im};
}

/// a exp(-i phi) forward, a exp(+i phi) backward; root is (cos phi, sin phi).
template <bool Forward>
inline Value turn(Value a, Value root) {
    if (Forward) return {a.re * root.re + a.im * root.im, a.im * root.re - a.re * root.im};
    return {a.re * root.re - a.im * root.im, a.im * root.re + a.re * root.im};
}

/// The same for a quarter of the circle.
template <bool Forward>
inline Value quarterTurn(Value a) {
    if (Forward) return {a.im, -a.re};
    return {-a.im, a.re};
}

// Transforms of 2, 3, 4 and 5 values.

template <bool Forward>
inline void combine(Value (&v)[2]) {
    const Value sum = v[0] + v[1];
    v[1] = v[0] - v[1];
    v[0] = sum;
}

template <bool Forward>
inline void combine(Value (&v)[3]) {
    constexpr float kSin = 0.866025403784438647f;  // of 2 pi / 3
    const Value sum = v[1] + v[2];
    const Value middle = v[0] - 0.5f * sum;
    const Value side = quarterTurn<Forward>(kSin * (v[1] - v[2]));
    v[0] = v[0] + sum;
    v[1] = middle + side;
    v[2] = middle - side;
}

template <bool Forward>
inline void combine(Value (&v)[4]) {
    const Value sum02 = v[0] + v[2];
    const Value difference02 = v[0] - v[2];
    const Value sum13 = v[1] + v[3];
    const Value difference13 = quarterTurn<Forward>(v[1] - v[3]);
    v[0] = sum02 + sum13;
    v[1] = difference02 + difference13;
    v[2] = sum02 - sum13;
    v[3] = difference02 - difference13;
}

template <bool Forward>
inline void combine(Value (&v)[5]) {
    constexpr float kCos1 = 0.309016994374947424f;  // of 2 pi / 5 and 4 pi / 5
    constexpr float kCos2 = -0.809016994374947424f;
    constexpr float kSin1 = 0.951056516295153572f;
    constexpr float kSin2 = 0.587785252292473129f;
    const Value sum1 = v[1] + v[4];
    const Value sum2 = v[2] + v[3];
    const Value difference1 = v[1] - v[4];
    const Value difference2 = v[2] - v[3];
    const Value middle1 = v[0] + kCos1 * sum1 + kCos2 * sum2;
    const Value middle2 = v[0] + kCos2 * sum1 + kCos1 * sum2;
    const Value side1 = quarterTurn<Forward>(kSin1 * difference1 + kSin2 * difference2);
    const Value side2 = quarterTurn<Forward>(kSin2 * difference1 - kSin1 * difference2);
    v[0] = v[0] + sum1 + sum2;
    v[1] = middle1 + side1;
    v[2] = middle2 + side2;
    v[3] = middle2 - side2;
    v[4] = middle1 - side1;
}

/// One butterfly in place: elements first, first + stride, ... Twiddles are null where they are all 1.
template <int Radix, int Lanes, bool Forward, bool Twiddled>
inline void butterfly(float* first, std::ptrdiff_t stride, const float* twiddles) {
#pragma GCC ivdep
    for (int lane = 0; lane < Lanes; ++lane) {
        Value v[Radix];
#pragma GCC unroll 5
        for (int j = 0; j < Radix; ++j) {
            const float* element = first + j * stride + lane;
            v[j] = {element[0], element[Lanes]};
            if (Twiddled && j > 0) {
                v[j] = turn<Forward>(v[j], {twiddles[2 * j - 2], twiddles[2 * j - 1]});
            }
        }
        combine<Forward>(v);
#pragma GCC unroll 5
        for (int j = 0; j < Radix; ++j) {
            float* element = first + j * stride + lane;
            element[0] = v[j].re;
            element[Lanes] = v[j].im;
        }
    }
}

template <int Radix, int Lanes, bool Forward>
void pass(const FftPass& p, float* block, double*) {
    const std::ptrdiff_t stride = 2 * Lanes * static_cast<std::ptrdiff_t>(p.span);
    for (int group = 0; group < p.count; ++group) {
        float* first = block + Radix * stride * group;
        const float* twiddles = p.twiddles;
        butterfly<Radix, Lanes, Forward, false>(first, stride, nullptr);
        for (int k = 1; k < p.span; ++k) {
            first += 2 * Lanes;
            butterfly<Radix, Lanes, Forward, true>(first, stride, twiddles);
            twiddles += 2 * (Radix - 1);
        }
    }
}

/// A butterfly of odd radix r, by definition but for the symmetry that halves its work: with the sums and
/// differences s_j, d_j = v_j +- v_(r-j), bins m and r - m are
///   v_0 + sum_j s_j cos(2 pi j m / r)  -+  i sum_j d_j sin(2 pi j m / r),   j = 1 .. (r - 1) / 2.
/// The sums run over many terms, so they are taken in double.
template <int Lanes, bool Forward>
void generalButterfly(const FftPass& p, float* first, std::ptrdiff_t stride, const float* twiddles,
                      double* scratch) {
    const int half = (p.radix - 1) / 2;
    const auto element = [=](int j) { return first + j * stride; };
    double total[2][Lanes];
    for (int lane = 0; lane < Lanes; ++lane) {
        total[0][lane] = first[lane];
        total[1][lane] = first[Lanes + lane];
    }
    for (int j = 1; j <= half; ++j) {
        double* folded = scratch + 4 * Lanes * (j - 1);
        const float* low = element(j);
        const float* high = element(p.radix - j);
        const auto turned = [&](const float* from, int index) -> Value {
            if (twiddles == nullptr) return {from[0], from[Lanes]};
            return turn<Forward>({from[0], from[Lanes]}, {twiddles[2 * index - 2], twiddles[2 * index - 1]});
        };
        for (int lane = 0; lane < Lanes; ++lane) {
            const Value a = turned(low + lane, j);
            const Value b = turned(high + lane, p.radix - j);
            folded[lane] = static_cast<double>(a.re) + static_cast<double>(b.re);
            folded[Lanes + lane] = static_cast<double>(a.im) + static_cast<double>(b.im);
            folded[2 * Lanes + lane] = static_cast<double>(a.re) - static_cast<double>(b.re);
            folded[3 * Lanes + lane] = static_cast<double>(a.im) - static_cast<double>(b.im);
            total[0][lane] += folded[lane];
            total[1][lane] += folded[Lanes + lane];
        }
    }
    for (int m = 1; m <= half; ++m) {
        double sums[4][Lanes];  // real and imaginary parts of the cosine sum, then of the sine sum
        for (int lane = 0; lane < Lanes; ++lane) {
            sums[0][lane] = first[lane];
            sums[1][lane] = first[Lanes + lane];
            sums[2][lane] = 0.0;
            sums[3][lane] = 0.0;
        }
        int angle = 0;  // j m mod r
        for (int j = 1; j <= half; ++j) {
            angle += m;
            if (angle >= p.radix) angle -= p.radix;
            const double cosine = p.roots[2 * angle];
            const double sine = Forward ? p.roots[2 * angle + 1] : -p.roots[2 * angle + 1];
            const double* folded = scratch + 4 * Lanes * (j - 1);
            for (int lane = 0; lane < Lanes; ++lane) {
                sums[0][lane] += folded[lane] * cosine;
                sums[1][lane] += folded[Lanes + lane] * cosine;
                sums[2][lane] += folded[2 * Lanes + lane] * sine;
                sums[3][lane] += folded[3 * Lanes + lane] * sine;
            }
        }
        float* low = element(m);
        float* high = element(p.radix - m);
        for (int lane = 0; lane < Lanes; ++lane) {
            low[lane] = static_cast<float>(sums[0][lane] + sums[3][lane]);
            low[Lanes + lane] = static_cast<float>(sums[1][lane] - sums[2][lane]);
            high[lane] = static_cast<float>(sums[0][lane] - sums[3][lane]);
            high[Lanes + lane] = static_cast<float>(sums[1][lane] + sums[2][lane]);
        }
    }
    for (int lane = 0; lane < Lanes; ++lane) {
        first[lane] = static_cast<float>(total[0][lane]);
        first[Lanes + lane] = static_cast<float>(total[1][lane]);
    }
}

template <int Lanes, bool Forward>
void generalPass(const FftPass& p, float* block, double* scratch) {
    const std::ptrdiff_t stride = 2 * Lanes * static_cast<std::ptrdiff_t>(p.span);
    for (int group = 0; group < p.count; ++group) {
        float* first = block + p.radix * stride * group;
        for (int k = 0; k < p.span; ++k) {
            const float* twiddles = k == 0 ? nullptr : p.twiddles + 2 * (p.radix - 1) * (k - 1);
            generalButterfly<Lanes, Forward>(p, first + 2 * Lanes * k, stride, twiddles, scratch);
        }
    }
}

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
