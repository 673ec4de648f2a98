#include "vision/superresolution/detail/MeanFilter.h"

#include <algorithm>
#include <string>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {
namespace {

/// The window's part inside a line of n pixels, seen from position i. Full windows are averaged by a factor
/// computed once, cut ones by a division; images smaller than the window have only cut ones.
struct Window {
    int radius;
    int n;

    bool gains(int i) const { return i < n - radius; }
    bool loses(int i) const { return i >= radius; }
    bool full(int i) const { return gains(i) && loses(i); }
    float count(int i) const {
        return static_cast<float>(std::min(i, radius) + std::min(n - 1 - i, radius) + 1);
    }
};

void filterRow(const float* source, const Window& window, float fullFactor, float* target) {
    float sum = 0.0f;
    for (int x = 0; x < std::min(window.radius, window.n); ++x) sum += source[x];
    for (int x = 0; x < window.n; ++x) {
        if (window.gains(x)) sum += source[x + window.radius];
        target[x] = window.full(x) ? sum * fullFactor : sum / window.count(x);
        if (window.loses(x)) sum -= source[x - window.radius];
    }
}

void add(float* sums, const float* row, int width) {
    for (int x = 0; x < width; ++x) sums[x] += row[x];
}

void subtract(float* sums, const float* row, int width) {
    for (int x = 0; x < width; ++x) sums[x] -= row[x];
}

}  // namespace

std::size_t meanFilterScratch(int width, int height) {
    return static_cast<std::size_t>(width) * (static_cast<std::size_t>(height) + 1);
}

void meanFilter(const ImageView<const float>& source, int radius, float* scratch,
                const ImageView<float>& target) {
    if (radius < 0) {
        raise("Invalid mean filter radius " + std::to_string(radius) + " specified.",
              {"vision/superresolution/detail/MeanFilter", __LINE__, "oravo::vision::detail::meanFilter"});
    }
    const int width = source.width;
    const int height = source.height;
    // A window beyond both ends holds the whole line, however far it reaches.
    const int reach = std::min(radius, std::max(width, height));
    const float fullFactor = 1.0f / static_cast<float>(2 * static_cast<long long>(radius) + 1);

    for (int y = 0; y < height; ++y) {
        filterRow(source.row(y), {reach, width}, fullFactor,
                  scratch + static_cast<std::ptrdiff_t>(y) * width);
    }

    // The same rule along the columns, for a whole row of running sums at a time.
    const Window window{reach, height};
    float* sums = scratch + static_cast<std::ptrdiff_t>(height) * width;
    const auto filtered = [&](int y) { return scratch + static_cast<std::ptrdiff_t>(y) * width; };
    std::fill_n(sums, width, 0.0f);
    for (int y = 0; y < std::min(reach, height); ++y) add(sums, filtered(y), width);
    for (int y = 0; y < height; ++y) {
        if (window.gains(y)) add(sums, filtered(y + reach), width);
        float* out = target.row(y);
        if (window.full(y)) {
            for (int x = 0; x < width; ++x) out[x] = sums[x] * fullFactor;
        } else {
            const float count = window.count(y);
            for (int x = 0; x < width; ++x) out[x] = sums[x] / count;
        }
        if (window.loses(y)) subtract(sums, filtered(y - reach), width);
    }
}

}  // namespace oravo::vision::detail
