#include "vision/superresolution/detail/precise/BicubicReference.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/Ring.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kA = -0.75;

/// Gives pixels without a value the mean of their neighbours' values, from the rim of a hole inwards.
void fillHoles(const Grid& frame, std::vector<float>& values, std::vector<char>& known) {
    for (bool missing = true, any = true; missing && any;) {
        missing = any = false;
        const std::vector<char> before = known;
        for (std::size_t q = 0; q < values.size(); ++q) {
            if (before[q]) continue;
            double sum = 0.0;
            int count = 0;
            forEachNeighbour(frame, q, [&](std::size_t beside) {
                if (!before[beside]) return;
                sum += values[beside];
                ++count;
            });
            missing = true;
            if (count == 0) continue;
            values[q] = static_cast<float>(sum / count);
            known[q] = 1;
            any = true;
        }
    }
}

}  // namespace

struct BicubicReference::Taps {
    int first;
    double weight[4];
};

BicubicReference::Taps BicubicReference::tapsAt(double place) {
    const double cell = std::floor(place);
    Taps taps{static_cast<int>(cell) - 1, {}};
    const double t = place - cell;
    const double inner[2] = {t, 1.0 - t}, outer[2] = {t + 1.0, 2.0 - t};
    for (int i = 0; i < 2; ++i) {
        const double s = inner[i], far = outer[i];
        taps.weight[i == 0 ? 1 : 2] = ((kA + 2.0) * s - (kA + 3.0)) * s * s + 1.0;
        taps.weight[i == 0 ? 0 : 3] = ((kA * far - 5.0 * kA) * far + 8.0 * kA) * far - 4.0 * kA;
    }
    return taps;
}

BicubicReference::BicubicReference(const FrameState& frame, int width, int height,
                                   const Buffer<float>& pattern)
    : width_(width), height_(height), values_(frame.values.begin(), frame.values.end()) {
    std::vector<char> known(values_.size());
    for (std::size_t q = 0; q < values_.size(); ++q) {
        known[q] = frame.present[q] > 0.0f;
        if (pattern.size() != 0) values_[q] -= pattern[q];
    }
    fillHoles({width, height}, values_, known);
}

double BicubicReference::at(double x, double y) const {
    return at(tapsAt(x), tapsAt(y));
}

double BicubicReference::at(const Taps& across, const Taps& down) const {
    double sum = 0.0;
    for (int j = 0; j < 4; ++j) {
        const int row = std::clamp(down.first + j, 0, height_ - 1);
        const float* values = values_.data() + areaOf(row, width_);
        double line = 0.0;
        for (int i = 0; i < 4; ++i) {
            const int column = std::clamp(across.first + i, 0, width_ - 1);
            line += across.weight[i] * values[column];
        }
        sum += down.weight[j] * line;
    }
    return sum;
}

void BicubicReference::enlarge(const Grid& grid, const PaddedImage& image, const Threads& threads) const {
    const double offset = 0.5 * (grid.factor - 1) + grid.margin;
    std::vector<Taps> across;
    across.reserve(static_cast<std::size_t>(grid.columns()));
    for (int x = 0; x < grid.columns(); ++x) across.push_back(tapsAt((x - offset) / grid.factor));
    threads.forRows(grid.rows(), [&](int first, int end, int) {
        for (int y = first; y < end; ++y) {
            const Taps down = tapsAt((y - offset) / grid.factor);
            for (int x = 0; x < grid.columns(); ++x)
                image.row(y)[x] = static_cast<float>(at(across[static_cast<std::size_t>(x)], down));
        }
    });
}

}  // namespace oravo::vision::detail::precise
