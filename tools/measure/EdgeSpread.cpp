#include "tools/measure/EdgeSpread.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace oravo::tools {
namespace {

constexpr double kPi = 3.14159265358979323846;

int binAt(double distance) {
    return static_cast<int>(std::floor((distance + EdgeSpread::kReach) * EdgeSpread::kBinsPerPixel));
}

double hamming(double share) {
    return 0.54 + 0.46 * std::cos(kPi * share);
}

}  // namespace

void EdgeSpread::add(const EdgeFit& fit) {
    for (const EdgeSample& s : fit.used) {
        const double u = fit.line.distance(s.x, s.y);
        const int bin = binAt(u);
        if (bin < 0 || bin >= kBins) continue;
        const double low = fit.line.level(0, u, s.y), high = fit.line.level(1, u, s.y);
        const double share = (s.value - low) / (high - low);
        sum_[at(bin)] += share;
        count_[at(bin)] += 1.0;
    }
}

double EdgeSpread::level(int bin) const {
    const auto mean = [&](int i) { return sum_[at(i)] / count_[at(i)]; };
    if (!isEmpty(bin)) return mean(bin);
    int before = bin, after = bin;
    while (before >= 0 && isEmpty(before)) --before;
    while (after < kBins && isEmpty(after)) ++after;
    if (before < 0 && after >= kBins) return 0.0;
    if (before < 0) return mean(after);
    if (after >= kBins) return mean(before);
    const double share = static_cast<double>(bin - before) / (after - before);
    return (1.0 - share) * mean(before) + share * mean(after);
}

double EdgeSpread::transfer(double frequency) const {
    std::complex<double> wave;
    double whole = 0.0;
    for (int i = 0; i + 1 < kBins; ++i) {
        const double u = distance(i) + 0.5 / kBinsPerPixel;
        const double spread = slope(i) * hamming(u / kReach);
        // A slope may be negative, a radius must not.
        wave += spread * std::polar(1.0, -2.0 * kPi * frequency * u);
        whole += spread;
    }
    // The mean over a bin and the difference of two neighbours each take the wave's mean over a bin's width.
    const double x = kPi * frequency / kBinsPerPixel;
    const double taken = x > 0.0 ? std::sin(x) / x : 1.0;
    return std::abs(wave) / (std::abs(whole) * taken * taken);
}

void ShapeMisfit::add(const EdgeFit& fit) {
    constexpr double kFoot = 2.5;  // spreads from the edge
    const double foot = std::min(kFoot * fit.profile().spread(), EdgeSpread::kReach - 1.0);
    for (std::size_t i = 0; i < fit.used.size(); ++i) {
        const double u = fit.line.distance(fit.used[i].x, fit.used[i].y);
        if (std::abs(u) > foot) continue;
        const auto bin = static_cast<std::size_t>(binAt(u));
        sum_[bin] += fit.misfit[i] / fit.line.height();
        noise_[bin] += std::pow(fit.noise / fit.line.height(), 2);
        count_[bin] += 1.0;
    }
}

double ShapeMisfit::share() const {
    constexpr double kFewest = 3.0;  // pixels in a bin
    double squares = 0.0, bins = 0.0;
    for (std::size_t i = 0; i < sum_.size(); ++i) {
        if (count_[i] < kFewest) continue;
        squares += (sum_[i] * sum_[i] - noise_[i]) / (count_[i] * count_[i]);
        bins += 1.0;
    }
    return bins > 0.0 ? std::sqrt(std::max(0.0, squares / bins)) : 0.0;
}

}  // namespace oravo::tools
