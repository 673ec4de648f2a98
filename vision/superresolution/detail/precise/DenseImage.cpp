#include "vision/superresolution/detail/precise/DenseImage.h"

#include <algorithm>
#include <vector>

namespace oravo::vision::detail::precise {

Buffer<float> denseCopy(const PaddedImage& image) {
    Buffer<float> dense(areaOf(image.columns(), image.rows()));
    for (int y = 0; y < image.rows(); ++y) {
        std::copy_n(image.row(y), image.columns(),
                    dense.data() + static_cast<std::ptrdiff_t>(y) * image.columns());
    }
    return dense;
}

void boxMean(const Buffer<float>& values, const Buffer<float>& weight, int width, int height, int radius,
             Buffer<float>& out) {
    const std::size_t area = areaOf(width, height);
    std::vector<double> sums(area), counts(area);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int last = std::min(width - 1, x + radius);
            double sum = 0.0, count = 0.0;
            for (int i = std::max(0, x - radius); i <= last; ++i) {
                const std::size_t at = areaOf(y, width) + static_cast<std::size_t>(i);
                sum += static_cast<double>(weight[at]) * values[at];
                count += weight[at];
            }
            sums[areaOf(y, width) + static_cast<std::size_t>(x)] = sum;
            counts[areaOf(y, width) + static_cast<std::size_t>(x)] = count;
        }
    }
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const int last = std::min(height - 1, y + radius);
            double sum = 0.0, count = 0.0;
            for (int i = std::max(0, y - radius); i <= last; ++i) {
                sum += sums[areaOf(i, width) + static_cast<std::size_t>(x)];
                count += counts[areaOf(i, width) + static_cast<std::size_t>(x)];
            }
            out[areaOf(y, width) + static_cast<std::size_t>(x)] =
                count > 0.0 ? static_cast<float>(sum / count) : 0.0f;
        }
    }
}

}  // namespace oravo::vision::detail::precise
