#include "vision/superresolution/DSP_Convolution.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <sstream>

#include "tests/TestScenes.h"

namespace oravo::test {
namespace {

using vision::DSP_Convolution;
using Wide = std::int64_t;

constexpr signed char kMaskValues[] = {0, 1, 1, -1, 1, 127, -128};

/// Values in exactly allocated memory: memory checkers see every access beyond the last one.
template <class T>
struct Exact {
    std::size_t size;
    std::unique_ptr<T[]> data;

    explicit Exact(int n, T value = 0) : size(static_cast<std::size_t>(n)), data(new T[size]) {
        std::fill_n(data.get(), size, value);
    }
    Exact(int n, unsigned seed, T limit) : Exact(n) {
        std::mt19937 engine(seed);
        const auto values = 2U * static_cast<unsigned>(limit) + 1U;
        for (std::size_t i = 0; i < size; ++i) {
            data[i] = static_cast<T>(static_cast<Wide>(engine() % values) - Wide{limit});
        }
    }
    T& operator[](int i) const { return data[static_cast<std::size_t>(i)]; }
    T* get() const { return data.get(); }
};

Exact<char> mixedMask(int n) {
    Exact<char> mask(n);
    for (int i = 0; i < n; ++i) mask[i] = static_cast<char>(kMaskValues[i % 7]);
    return mask;
}

template <class T>
T wrapped(Wide value) {
    return static_cast<T>(static_cast<std::make_unsigned_t<T>>(value));
}

struct Size {
    int W, H;
    float f;
    int lw() const { return static_cast<int>(static_cast<float>(W) / f); }
    int lh() const { return static_cast<int>(static_cast<float>(H) / f); }
};

/// Both operators by their definition, one output value at a time.
template <class T>
struct Twin {
    Size size;
    int kw, kh;
    Exact<T> h, v;

    int cols() const { return size.W + kw - 1; }
    int rows() const { return size.H + kh - 1; }

    T sampled(const Exact<T>& in, Wide scale, int r, int c) const {
        Wide sum = 0;
        for (int k = 0; k < kh && k + 2 * r < rows(); ++k) {
            Wide gathered = 0;
            for (int j = 0; j < kw; ++j) {
                const int column = j + static_cast<int>(size.f) * c;
                gathered += Wide{in[(k + 2 * r) * cols() + column]} * h[j] / scale;
            }
            sum += Wide{wrapped<T>(gathered)} * v[k] / scale;
        }
        return wrapped<T>(sum);
    }

    /// Calls add(sample, vertical tap, horizontal tap) for all samples that meet output pixel (y, x).
    template <class Add>
    void meet(const Exact<T>& samples, int y, int x, Add add) const {
        for (int k = y % 2; k < 6; k += 2) {
            for (int j = x % 2; j < 6; j += 2) {
                const int r = (y - k) / 2, c = (x - j) / 2;
                const bool inside = k <= y && j <= x && r < size.lh() && c < size.lw();
                if (inside) add(Wide{samples[r * size.lw() + c]}, k, j);
            }
        }
    }

    T coefficient(int k, int j) const {
        const Wide product = Wide{v[k]} * h[j];
        return wrapped<T>(product / 32768);  // truncates toward zero
    }

    T convolved(const Exact<T>& samples, int y, int x) const {
        Wide sum = 0;
        meet(samples, y, x,
             [&](Wide sample, int k, int j) { sum = wrapped<T>(sum + sample * coefficient(k, j)); });
        const int quotient = wrapped<T>(sum) >> 15;
        return static_cast<T>(std::clamp(quotient, -32768, 32767));  // which a short keeps to anyway
    }

    std::string diagnostics() const {
        std::ostringstream text;
        for (int p = 0; p < 4; ++p) {
            for (int n = 0; n < 9; ++n) {
                const int i = n / 3, j = n % 3, cm = (2 - i) * 2 + p / 2, rm = (2 - j) * 2 + p % 2;
                text << "H" << p << "(" << i << "," << j << ") :" << coefficient(cm, rm) << "\n cm: " << cm
                     << ", rm: " << rm << "\n";
            }
        }
        return text.str();
    }
};

const std::vector<Size> kSizes = {{1, 1, 2},  {2, 2, 2},  {3, 5, 2},     {8, 7, 2},
                                  {9, 16, 2}, {17, 2, 2}, {23, 21, 2.5f}};

template <class T>
class DspConvolution : public ::testing::Test {
  protected:
    static Exact<T> fullConv(const Twin<T>& twin, const Exact<T>& low, const Exact<char>& mask,
                             std::string* text = nullptr) {
        DSP_Convolution<T> dsp(static_cast<T>(twin.size.W), static_cast<T>(twin.size.H), 6, 6, twin.size.f);
        Exact<T> out(twin.rows() * twin.cols(), T(77));
        testing::internal::CaptureStdout();
        dsp.fullConvFromSparse(low.get(), twin.h.get(), twin.v.get(), mask.get(), out.get());
        const std::string printed = testing::internal::GetCapturedStdout();
        if (text != nullptr) *text = printed;
        return out;
    }
};
using Types = ::testing::Types<short, int>;
TYPED_TEST_SUITE(DspConvolution, Types);

TYPED_TEST(DspConvolution, SamplesByItsDefinitionForAnySize) {
    using T = TypeParam;
    std::vector<Size> sizes = kSizes;
    sizes.insert(sizes.end(), {{7, 9, 1}, {14, 13, 3}});
    for (const Size& size : sizes) {
        for (const auto& [kw, kh] : {std::pair(6, 6), {1, 4}, {5, 2}}) {
            for (const int scale : {1, -1, 3, 32767}) {
                SCOPED_TRACE(::testing::Message()
                             << size.W << " x " << size.H << ", factor " << size.f << ", scale " << scale);
                // Products of short reach 2^30 and wrap sums; those of int are kept within them.
                const Twin<T> twin{size, kw, kh, Exact<T>(kw, 1, T(32767)), Exact<T>(kh, 2, T(300))};
                const Exact<T> in(twin.rows() * twin.cols(), 3, T(sizeof(T) == 2 ? 32767 : 200));
                Exact<T> out(size.lw() * size.lh(), T(77));
                DSP_Convolution<T> dsp(T(size.W), T(size.H), T(kw), T(kh), size.f);
                dsp.setFilterScale(T(scale));
                DSP_Convolution<T> copy(1, 1, 6, 6, 2.0f);
                copy = dsp;  // shares the scratch image, and neither frees what the other still uses
                copy.validCorrToSparse(in.get(), twin.h.get(), twin.v.get(), out.get());
                for (int i = 0; i < size.lw() * size.lh(); ++i) {
                    ASSERT_EQ(out[i], twin.sampled(in, scale, i / size.lw(), i % size.lw())) << i;
                }
            }
        }
    }
}

TYPED_TEST(DspConvolution, SpreadsByItsDefinitionAndShowsItsCoefficients) {
    using T = TypeParam;
    for (const Size& size : kSizes) {
        for (const T limit : {T(900), std::numeric_limits<T>::max()}) {  // the second makes everything wrap
            SCOPED_TRACE(::testing::Message()
                         << size.W << " x " << size.H << ", factor " << size.f << ", up to " << limit);
            Twin<T> twin{size, 6, 6, Exact<T>(6, 1, limit), Exact<T>(6, 2, limit)};
            twin.h[3] = twin.v[2] = T(-32768);  // -1 in Q15, whose square no short holds
            const int n = size.lw() * size.lh();
            const Exact<T> low(n, 3, limit);
            const Exact<char> mask = mixedMask(n);
            std::string text;
            const Exact<T> out = this->fullConv(twin, low, mask, &text);
            EXPECT_EQ(text, twin.diagnostics());
            Exact<T> masked(n);
            for (int i = 0; i < n; ++i)
                masked[i] = wrapped<T>(Wide{low[i]} * static_cast<signed char>(mask[i]));
            for (int i = 0; i < twin.rows() * twin.cols(); ++i) {
                ASSERT_EQ(out[i], twin.convolved(masked, i / twin.cols(), i % twin.cols())) << i;
            }
        }
    }
}

TYPED_TEST(DspConvolution, AgreesWithExactConvolutionUpToItsRounding) {
    // P - R lies between -1 - s and s, s = sum |sample| / 2^15, while no sum wraps: 9 2^15 7000 is below 2^31,
    // 9 (1800^2 / 2^15) 35 below 2^15. All in units of 2^-30, in which R is an integer.
    using T = TypeParam;
    constexpr bool kShort = sizeof(T) == 2;
    constexpr T kTap = kShort ? 1800 : 32767, kSample = kShort ? 35 : 7000;
    constexpr Wide kOne = Wide{1} << 30;
    const Twin<T> mixed{{23, 21, 2.5f}, 6, 6, Exact<T>(6, 5, kTap), Exact<T>(6, 6, kTap)};
    const Twin<T> flat{{17, 12, 2}, 6, 6, Exact<T>(6, kTap), Exact<T>(6, T(-kTap))};
    for (const Twin<T>* twin : {&mixed, &flat}) {
        const int n = twin->size.lw() * twin->size.lh();
        const Exact<T> low = twin == &flat ? Exact<T>(n, kSample) : Exact<T>(n, 7, kSample);
        const Exact<T> out = this->fullConv(*twin, low, Exact<char>(n, 1));
        Wide lowest = 0, clampings = 0;
        for (int i = 0; i < twin->rows() * twin->cols(); ++i) {
            Wide exact = 0, reach = 0;
            twin->meet(low, i / twin->cols(), i % twin->cols(), [&](Wide sample, int k, int j) {
                exact += sample * twin->v[k] * twin->h[j];
                reach += std::abs(sample) * 32768;
            });
            const Wide clamped = std::clamp(exact, -32768 * kOne, 32767 * kOne);
            const Wide error = out[i] * kOne - clamped;
            ASSERT_LE(error, reach) << i;
            ASSERT_GE(error, -kOne - reach) << i;
            clampings += clamped != exact ? 1 : 0;
            lowest = std::min(lowest, error);
        }
        EXPECT_EQ(clampings > 0, twin == &flat && !kShort);
        EXPECT_LT(lowest, -kOne / 2);  // there is something to bound
    }
}

TYPED_TEST(DspConvolution, WrapsOrSaturatesAtSixteenBits) {
    using T = TypeParam;
    const Twin<T> twin{{8, 8, 2}, 6, 6, Exact<T>(6, T(16384)), Exact<T>(6, T(16384))};
    const auto centre = [&](T sample) {
        return this->fullConv(twin, Exact<T>(16, sample), Exact<char>(16, 1))[5 * 13 + 5];
    };
    // The nine coefficients are 2^13, so the sum is 73728 per unit: 9 / 4 in exact numbers.
    EXPECT_EQ(centre(1), sizeof(T) == 2 ? 0 : 2);
    EXPECT_EQ(centre(4), sizeof(T) == 2 ? -1 : 9);  // 4 73728 = 32768 modulo 2^16
    EXPECT_EQ(centre(20000), sizeof(T) == 2 ? 0 : 32767);
    EXPECT_EQ(centre(-20000), sizeof(T) == 2 ? 0 : -32768);
}

TYPED_TEST(DspConvolution, RefusesWhatItCannotDo) {
    using T = TypeParam;
    T one[256] = {};
    char mask[256] = {};
    DSP_Convolution<T> dsp(4, 4, 6, 6, 2.0f);
    for (const bool everSet : {false, true}) {
        if (everSet) dsp.setFilterScale(0);
        const Exception thrown = thrownBy([&] { dsp.validCorrToSparse(one, one, one, one); });
        EXPECT_EQ(thrown.message(), "Invalid filter scale 0, set another one by setFilterScale.");
        EXPECT_NE(thrown.location().find("DSP_Convolution::validCorrToSparse(..)\n"), std::string::npos);
    }
    EXPECT_EQ(thrownBy([&] {
                  DSP_Convolution<T>(6, 6, 9, 6, 3.0f).fullConvFromSparse(one, one, one, mask, one);
              }).message(),
              "The polyphase form takes factor 2 and 6 x 6 taps, not factor 3 and 9 x 6 taps.");
    EXPECT_EQ(thrownBy([] { DSP_Convolution<T>(-1, 4, 6, 6, 2.0f); }).message(),
              "Invalid image size -1 x 4 specified.");
    EXPECT_EQ(thrownBy([] { DSP_Convolution<T>(4, 4, 6, 0, 2.0f); }).message(),
              "Invalid kernel size 6 x 0 specified.");
    if constexpr (sizeof(T) == 4) {
        EXPECT_EQ(
            thrownBy([&] {
                DSP_Convolution<T>(65528, 1, 6, 6, 2.0f).fullConvFromSparse(one, one, one, mask, one);
            }).message(),
            "Low-resolution rows of 32764 pixels are too long for the polyphase form, which takes 32763.");
    }
}

}  // namespace
}  // namespace oravo::test
