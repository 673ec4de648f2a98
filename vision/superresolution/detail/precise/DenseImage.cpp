#include "vision/superresolution/detail/precise/DenseImage.h"

#include <algorithm>
#include <vector>

namespace oravo::vision::detail::precise {
namespace {

/// Sums of a dense image along its rows, of as many rows as a box reaches, each in the place of the row that it replaces.
class BoxRows {
  public:
    BoxRows(int width, int radius)
        : width_(width),
          radius_(radius),
          kept_(2 * radius + 1),
          line_(static_cast<std::size_t>(width + 2 * radius)),
          counts_(line_),
          sums_(areaOf(width, 2 * kept_)) {}

    void add(const float* values, const float* weight, int y) {
        double *line = line_.data() + radius_, *counts = counts_.data() + radius_;
        for (int x = 0; x < width_; ++x) {
            line[x] = static_cast<double>(weight[x]) * values[x];
            counts[x] = weight[x];
        }
        sumAlong(line_, sumsOf(y));
        sumAlong(counts_, countsOf(y));
    }
    double* sumsOf(int y) { return sums_.data() + areaOf(width_, 2 * (y % kept_)); }
    double* countsOf(int y) { return sumsOf(y) + width_; }

  private:
    void sumAlong(const std::vector<double>& line, double* out) const {
        std::fill_n(out, width_, 0.0);
        for (int i = 0; i < kept_; ++i) {
            const double* shifted = line.data() + i;
            for (int x = 0; x < width_; ++x) out[x] += shifted[x];
        }
    }

    int width_, radius_, kept_;
    std::vector<double> line_, counts_;  // 0 beyond the ends
    std::vector<double> sums_;
};

}  // namespace

Buffer<float> denseCopy(const PaddedImage& image) {
    Buffer<float> dense(areaOf(image.columns(), image.rows()));
    for (int y = 0; y < image.rows(); ++y) {
        std::copy_n(image.row(y), image.columns(),
                    dense.data() + static_cast<std::ptrdiff_t>(y) * image.columns());
    }
    return dense;
}

void boxMean(const Buffer<float>& values, const Buffer<float>& weight, int width, int height, int radius,
             Buffer<float>& out, const Threads& threads) {
    threads.forRows(height, [&](int first, int end, int) {
        BoxRows rows(width, radius);
        std::vector<double> sum(static_cast<std::size_t>(width)), count(sum);
        int next = std::max(0, first - radius);
        for (int y = first; y < end; ++y) {
            const int top = std::max(0, y - radius), bottom = std::min(height - 1, y + radius);
            for (; next <= bottom; ++next)
                rows.add(values.data() + areaOf(next, width), weight.data() + areaOf(next, width), next);
            std::fill(sum.begin(), sum.end(), 0.0);
            std::fill(count.begin(), count.end(), 0.0);
            for (int i = top; i <= bottom; ++i) {
                const double *sums = rows.sumsOf(i), *counts = rows.countsOf(i);
                for (std::size_t x = 0; x < sum.size(); ++x) {
                    sum[x] += sums[x];
                    count[x] += counts[x];
                }
            }
            float* to = out.data() + areaOf(y, width);
            for (std::size_t x = 0; x < sum.size(); ++x)
                to[x] = count[x] > 0.0 ? static_cast<float>(sum[x] / count[x]) : 0.0f;
        }
    });
}

}  // namespace oravo::vision::detail::precise
