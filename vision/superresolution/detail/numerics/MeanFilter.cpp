#include "vision/superresolution/detail/numerics/MeanFilter.h"

#include <algorithm>
#include <string>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {
namespace {

/// The part of the window around position i that lies inside a line of n pixels. Full windows are averaged by a
/// factor computed once, cut ones by a division; images smaller than the window have only cut ones.
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

/// Filters Rows neighbouring rows at once: a running sum is one long chain of dependent additions, and several
/// chains at a time keep the processor busy.
template <int Rows>
void filterRows(const ImageView<const float>& source, int y, const Window& window, float fullFactor,
                float* target) {
    const float* in[Rows];
    float* out[Rows];
    float sums[Rows] = {};
    for (int r = 0; r < Rows; ++r) {
        in[r] = source.row(y + r);
        out[r] = target + static_cast<std::ptrdiff_t>(y + r) * window.n;
    }
    const auto gain = [&](int x) {
        for (int r = 0; r < Rows; ++r) sums[r] += in[r][x + window.radius];
    };
    const auto lose = [&](int x) {
        for (int r = 0; r < Rows; ++r) sums[r] -= in[r][x - window.radius];
    };
    const auto cut = [&](int x) {
        if (window.gains(x)) gain(x);
        for (int r = 0; r < Rows; ++r) out[r][x] = sums[r] / window.count(x);
        if (window.loses(x)) lose(x);
    };
    for (int x = -window.radius; x < 0; ++x) {
        if (window.gains(x)) gain(x);
    }
    const int fullBegin = std::min(window.radius, window.n);
    const int fullEnd = std::max(window.n - window.radius, fullBegin);
    for (int x = 0; x < fullBegin; ++x) cut(x);
    for (int x = fullBegin; x < fullEnd; ++x) {
        gain(x);
        for (int r = 0; r < Rows; ++r) out[r][x] = sums[r] * fullFactor;
        lose(x);
    }
    for (int x = fullEnd; x < window.n; ++x) cut(x);
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
        raise(ErrorKind::badArgument, "Invalid mean filter radius " + std::to_string(radius) + " specified.",
              {"vision/superresolution/detail/numerics/MeanFilter", __LINE__,
               "oravo::vision::detail::meanFilter"});
    }
    const int width = source.width;
    const int height = source.height;
    // A window beyond both ends holds the whole line, however far it reaches.
    const int reach = std::min(radius, std::max(width, height));
    const float fullFactor = 1.0f / static_cast<float>(2 * static_cast<long long>(radius) + 1);

    constexpr int kRows = 8;
    int first = 0;
    for (; first + kRows <= height; first += kRows) {
        filterRows<kRows>(source, first, {reach, width}, fullFactor, scratch);
    }
    for (; first < height; ++first) filterRows<1>(source, first, {reach, width}, fullFactor, scratch);

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
