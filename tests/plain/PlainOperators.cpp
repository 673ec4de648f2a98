#include "tests/plain/PlainOperators.h"

#include <algorithm>

namespace oravo::plain {

void SparseOperators::fullConvFromSparse(const float* lowRes, const float* h, const float* v,
                                         const char* mask, float* out) const {
    const int rows = extendedHeight(), cols = extendedWidth(), lw = lowWidth(), lh = lowHeight();
    const int step = static_cast<int>(f);
    std::vector<float> T(static_cast<std::size_t>(rows * lw), 0.0f);
    std::fill_n(out, rows * cols, 0.0f);
    for (int k = 0; k < kh; ++k) {
        for (int r = 0; r < lh && inside(k, r); ++r) {
            const int start = rowStart(k, r);
            for (int c = 0; c < lw; ++c) {
                const float weight = static_cast<float>(static_cast<signed char>(mask[r * lw + c]));
                T[static_cast<std::size_t>(start + c)] += weight * lowRes[r * lw + c] * v[k];
            }
        }
    }
    for (int k = 0; k < kw; ++k) {
        for (int y = 0; y < rows; ++y) {
            for (int c = 0; c < lw; ++c) {
                out[y * cols + k + step * c] += h[k] * T[static_cast<std::size_t>(y * lw + c)];
            }
        }
    }
}

void SparseOperators::validCorrToSparse(const float* in, const float* h, const float* v, float* out) const {
    const int rows = extendedHeight(), cols = extendedWidth(), lw = lowWidth(), lh = lowHeight();
    const int step = static_cast<int>(f);
    std::vector<float> T(static_cast<std::size_t>(rows * lw), 0.0f);
    std::fill_n(out, lh * lw, 0.0f);
    for (int k = 0; k < kw; ++k) {
        for (int y = 0; y < rows; ++y) {
            for (int c = 0; c < lw; ++c) {
                T[static_cast<std::size_t>(y * lw + c)] += h[k] * in[y * cols + k + step * c];
            }
        }
    }
    for (int k = 0; k < kh; ++k) {
        for (int r = 0; r < lh && inside(k, r); ++r) {
            const int start = rowStart(k, r);
            for (int c = 0; c < lw; ++c) {
                out[r * lw + c] += v[k] * T[static_cast<std::size_t>(start + c)];
            }
        }
    }
}

cv::Mat_<double> windowMean(const cv::Mat_<float>& image, int radius) {
    cv::Mat_<double> mean(image.rows, image.cols);
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            double sum = 0.0;
            int count = 0;
            for (int v = std::max(y - radius, 0); v <= std::min(y + radius, image.rows - 1); ++v) {
                for (int u = std::max(x - radius, 0); u <= std::min(x + radius, image.cols - 1); ++u) {
                    sum += static_cast<double>(image(v, u));
                    ++count;
                }
            }
            mean(y, x) = sum / count;
        }
    }
    return mean;
}

}  // namespace oravo::plain
