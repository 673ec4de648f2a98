#ifndef ORAVO_VISION_DETAIL_TRANSFORM_FFTBUTTERFLIES_H
#define ORAVO_VISION_DETAIL_TRANSFORM_FFTBUTTERFLIES_H

#include "vision/superresolution/detail/transform/MixedRadixFft.h"

// The butterflies of FftKernels.cpp, and the passes of a transform over a block of them.

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
class GeneralButterfly {
  public:
    /// @param first     element 0; the others follow at steps of `stride`
    /// @param twiddles  null where they are all 1
    /// @param scratch   FftPlan::scratchSize(Lanes)
    GeneralButterfly(const FftPass& pass, float* first, std::ptrdiff_t stride, const float* twiddles,
                     double* scratch)
        : pass_(pass), first_(first), stride_(stride), twiddles_(twiddles), folded_(scratch) {}

    void operator()() {
        const int half = (pass_.radix - 1) / 2;
        Complex total;  // bin 0: the sum of all elements
        for (int lane = 0; lane < Lanes; ++lane) {
            total.re[lane] = first_[lane];
            total.im[lane] = first_[Lanes + lane];
        }
        for (int j = 1; j <= half; ++j) fold(j, total);
        for (int m = 1; m <= half; ++m) computePair(m, half);
        for (int lane = 0; lane < Lanes; ++lane) {
            first_[lane] = static_cast<float>(total.re[lane]);
            first_[Lanes + lane] = static_cast<float>(total.im[lane]);
        }
    }

  private:
    struct Complex {
        double re[Lanes];
        double im[Lanes];
    };

    float* element(int j) const { return first_ + j * stride_; }
    /// s_j and d_j: real parts of the sums, imaginary ones, then those of the differences.
    double* folded(int j) const { return folded_ + 4 * Lanes * (j - 1); }

    Value turned(const float* from, int j) const {
        const Value value{from[0], from[Lanes]};
        if (twiddles_ == nullptr) return value;
        return turn<Forward>(value, {twiddles_[2 * j - 2], twiddles_[2 * j - 1]});
    }

    /// Computes s_j and d_j, and adds s_j to the total.
    void fold(int j, Complex& total) {
        double* out = folded(j);
        const float* low = element(j);
        const float* high = element(pass_.radix - j);
        for (int lane = 0; lane < Lanes; ++lane) {
            const Value a = turned(low + lane, j);
            const Value b = turned(high + lane, pass_.radix - j);
            out[lane] = static_cast<double>(a.re) + static_cast<double>(b.re);
            out[Lanes + lane] = static_cast<double>(a.im) + static_cast<double>(b.im);
            out[2 * Lanes + lane] = static_cast<double>(a.re) - static_cast<double>(b.re);
            out[3 * Lanes + lane] = static_cast<double>(a.im) - static_cast<double>(b.im);
            total.re[lane] += out[lane];
            total.im[lane] += out[Lanes + lane];
        }
    }

    /// Bins m and r - m, in place of elements m and r - m.
    void computePair(int m, int half) {
        Complex cosines, sines;  // the two sums of the formula, the first with v_0
        for (int lane = 0; lane < Lanes; ++lane) {
            cosines.re[lane] = first_[lane];
            cosines.im[lane] = first_[Lanes + lane];
            sines.re[lane] = 0.0;
            sines.im[lane] = 0.0;
        }
        int angle = 0;  // j m mod r
        for (int j = 1; j <= half; ++j) {
            angle += m;
            if (angle >= pass_.radix) angle -= pass_.radix;
            const double cosine = pass_.roots[2 * angle];
            const double sine = Forward ? pass_.roots[2 * angle + 1] : -pass_.roots[2 * angle + 1];
            const double* in = folded(j);
            for (int lane = 0; lane < Lanes; ++lane) {
                cosines.re[lane] += in[lane] * cosine;
                cosines.im[lane] += in[Lanes + lane] * cosine;
                sines.re[lane] += in[2 * Lanes + lane] * sine;
                sines.im[lane] += in[3 * Lanes + lane] * sine;
            }
        }
        float* low = element(m);
        float* high = element(pass_.radix - m);
        for (int lane = 0; lane < Lanes; ++lane) {
            low[lane] = static_cast<float>(cosines.re[lane] + sines.im[lane]);
            low[Lanes + lane] = static_cast<float>(cosines.im[lane] - sines.re[lane]);
            high[lane] = static_cast<float>(cosines.re[lane] - sines.im[lane]);
            high[Lanes + lane] = static_cast<float>(cosines.im[lane] + sines.re[lane]);
        }
    }

    const FftPass& pass_;
    float* first_;
    std::ptrdiff_t stride_;
    const float* twiddles_;
    double* folded_;
};

template <int Lanes, bool Forward>
void generalPass(const FftPass& p, float* block, double* scratch) {
    const std::ptrdiff_t stride = 2 * Lanes * static_cast<std::ptrdiff_t>(p.span);
    for (int group = 0; group < p.count; ++group) {
        float* first = block + p.radix * stride * group;
        for (int k = 0; k < p.span; ++k) {
            const float* twiddles = k == 0 ? nullptr : p.twiddles + 2 * (p.radix - 1) * (k - 1);
            GeneralButterfly<Lanes, Forward>(p, first + 2 * Lanes * k, stride, twiddles, scratch)();
        }
    }
}

}  // namespace
}  // namespace oravo::vision::detail::fft_kernels

#endif
