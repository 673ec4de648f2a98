#include "vision/superresolution/DSP_Convolution.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <limits>
#include <string>
#include <type_traits>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/memory/FrameSize.h"
#include "vision/superresolution/detail/solver/SparseSampling.h"

namespace oravo::vision {
namespace {

constexpr char kSource[] = "vision/superresolution/DSP_Convolution";
constexpr char kConstructor[] = "oravo::vision::DSP_Convolution::DSP_Convolution";
constexpr char kValidCorr[] = "oravo::vision::DSP_Convolution::validCorrToSparse";
constexpr char kFullConv[] = "oravo::vision::DSP_Convolution::fullConvFromSparse";

constexpr int kTaps = 6;
constexpr int kReach = kTaps / 2;    // taps of one parity: they meet this many samples
constexpr int kBorder = kReach - 1;  // samples that a window of those may begin before the first
constexpr short kFractionBits = 15;  // of Q15
constexpr int kPhases = 4;

/// Holds any product of two T.
template <class T>
using Wide = std::conditional_t<std::is_same_v<T, short>, std::int32_t, std::int64_t>;

/// The value of T that equals a number modulo 2^(bits of T).
template <class T, class Number>
T wrapped(Number number) {
    return static_cast<T>(static_cast<std::make_unsigned_t<T>>(number));
}

template <class T>
Wide<T> product(T a, T b) {
    return Wide<T>{a} * Wide<T>{b};
}

/// a b / 2^15, truncated toward zero.
template <class T>
T productQ15(T a, T b) {
    const Wide<T> exact = product(a, b);
    constexpr Wide<T> kRoundUp = (1 << kFractionBits) - 1;
    return wrapped<T>((exact < 0 ? exact + kRoundUp : exact) >> kFractionBits);
}

bool suitsPolyphase(const detail::SparseGrid& grid) {
    return grid.columnStep == 2 && grid.kernelWidth == kTaps && grid.kernelHeight == kTaps;
}

/// The samples with their border; empty where no polyphase form exists.
detail::FrameSize borderedSize(const detail::SparseGrid& grid) {
    if (!suitsPolyphase(grid)) return {};
    return {grid.lowWidth + 2 * kBorder, grid.lowHeight + 2 * kBorder};
}

/// One of the four interleaved parts of the extended image: rows of one parity, columns of one parity.
struct Phase {
    int number;
    int row = (number >> 1) & 1;
    int column = number & 1;
};

/// The 3 x 3 kernel of a phase; prints every coefficient as it is made.
template <class T>
void makePhaseKernel(const Phase& phase, const T* horizontal, const T* vertical, T* kernel) {
    for (int i = 0; i < kReach; ++i) {
        for (int j = 0; j < kReach; ++j) {
            // The window runs forward over the samples, the taps backward.
            const int v = (kReach - 1 - i) * 2 + phase.row;
            const int h = (kReach - 1 - j) * 2 + phase.column;
            const T coefficient = productQ15(vertical[v], horizontal[h]);
            kernel[kReach * i + j] = coefficient;
            std::cout << "H" << phase.number << "(" << i << "," << j << ") :" << coefficient << std::endl
                      << " cm: " << v << ", rm: " << h << std::endl;
        }
    }
}

}  // namespace

template <class T>
DSP_Convolution<T>::DSP_Convolution(T W, T H, T kw, T kh, float f)
    : grid_(detail::fixedRowGrid(W, H, kw, kh, f, {kSource, __LINE__, kConstructor})),
      intermediate_(static_cast<std::size_t>(detail::intermediateSize(grid_))),
      bordered_(borderedSize(grid_).elements()),
      phaseRow_(static_cast<std::size_t>(borderedSize(grid_).width)) {
}

template <class T>
void DSP_Convolution<T>::setFilterScale(T scale) {
    filterScale_ = scale;
}

template <class T>
void DSP_Convolution<T>::validCorrToSparse(const T* in, const T* horizontalKernel, const T* verticalKernel,
                                           T* out) {
    if (filterScale_ == 0) {
        raise(ErrorKind::badArgument, "Invalid filter scale 0, set another one by setFilterScale.",
              {kSource, __LINE__, kValidCorr});
    }
    detail::sampleSparse(grid_, in, horizontalKernel, verticalKernel, intermediate_.data(), out,
                         [scale = Wide<T>{filterScale_}](T& sum, T weight, T value) {
                             sum = wrapped<T>(Wide<T>{sum} + product(value, weight) / scale);
                         });
}

template <class T>
void DSP_Convolution<T>::fullConvFromSparse(const T* lowRes, const T* horizontalKernel,
                                            const T* verticalKernel, const char* mask, T* out) {
    const CodeLocation here{kSource, __LINE__, kFullConv};
    if (!suitsPolyphase(grid_)) {
        raise(ErrorKind::badArgument,
              "The polyphase form takes factor 2 and 6 x 6 taps, not factor " +
                  std::to_string(grid_.columnStep) + " and " + std::to_string(grid_.kernelWidth) + " x " +
                  std::to_string(grid_.kernelHeight) + " taps.",
              here);
    }
    const detail::FrameSize bordered = borderedSize(grid_);
    if (bordered.width > std::numeric_limits<short>::max()) {
        raise(ErrorKind::badArgument,
              "Low-resolution rows of " + std::to_string(grid_.lowWidth) +
                  " pixels are too long for the polyphase form, which takes 32763.",
              here);
    }
    fillBordered(lowRes, mask);
    std::fill_n(out, static_cast<std::ptrdiff_t>(grid_.extendedHeight) * grid_.extendedWidth, T(0));

    const int rows = bordered.height - kBorder;
    const int columns = bordered.width - kBorder;
    for (int p = 0; p < kPhases; ++p) {
        const Phase phase{p};
        T kernel[kReach * kReach];
        makePhaseKernel(phase, horizontalKernel, verticalKernel, kernel);
        for (int y = 0; y < rows; ++y) {
            ImgConv3x3I16sC16s(bordered_.data() + static_cast<std::ptrdiff_t>(y) * bordered.width,
                               phaseRow_.data(), static_cast<short>(columns),
                               static_cast<short>(bordered.width), kernel, kFractionBits);
            T* target = out + static_cast<std::ptrdiff_t>(2 * y + phase.row) * grid_.extendedWidth;
            for (int x = 0; x < columns; ++x) target[2 * x + phase.column] = phaseRow_.data()[x];
        }
    }
}

/// The border stays as it was made, zero.
template <class T>
void DSP_Convolution<T>::fillBordered(const T* lowRes, const char* mask) {
    const std::ptrdiff_t stride = borderedSize(grid_).width;
    for (int y = 0; y < grid_.lowHeight; ++y) {
        T* target = bordered_.data() + (y + kBorder) * stride + kBorder;
        for (int x = 0; x < grid_.lowWidth; ++x) {
            const auto weight = static_cast<T>(static_cast<int>(static_cast<signed char>(*mask++)));
            target[x] = wrapped<T>(product(*lowRes++, weight));
        }
    }
}

/// out[x] = (sum over i, j of kernel[3i + j] in[i stride + x + j]) >> shift, for x below count.
template <class T>
void DSP_Convolution<T>::ImgConv3x3I16sC16s(const T* in, T* out, short count, short stride, const T* kernel,
                                            short shift) {
    for (int x = 0; x < count; ++x) {
        std::make_unsigned_t<T> bits = 0;  // unsigned, so that it wraps by definition
        for (int i = 0; i < kReach; ++i) {
            for (int j = 0; j < kReach; ++j) {
                const T value = in[static_cast<std::ptrdiff_t>(i) * stride + x + j];
                bits = static_cast<std::make_unsigned_t<T>>(
                    bits + static_cast<std::make_unsigned_t<T>>(product(kernel[kReach * i + j], value)));
            }
        }
        const int quotient = static_cast<T>(bits) >> shift;
        if constexpr (std::is_same_v<T, int>) {
            out[x] = std::clamp(quotient, -32768, 32767);
        } else {
            out[x] = static_cast<T>(quotient);
        }
    }
}

template class DSP_Convolution<short>;
template class DSP_Convolution<int>;

}  // namespace oravo::vision
