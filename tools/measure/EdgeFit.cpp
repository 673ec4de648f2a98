#include "tools/measure/EdgeFit.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

// Unknowns: c0, c1, c2, the standard deviation of the optics, six levels.
constexpr int kOptics = 3, kLevels = 4, kUnknowns = 10;
using Vector = cv::Matx<double, kUnknowns, 1>;
using Matrix = cv::Matx<double, kUnknowns, kUnknowns>;

constexpr double kFirstOptics = 0.6, kLeastOptics = 0.02, kMostOptics = 8.0;  // pixels
constexpr double kFirstZone = 12.0, kLeastZone = 7.0, kZoneSpreads = 7.0;     // pixels; standard deviations
constexpr int kMostSteps = 60, kRounds = 3;
constexpr double kStill = 1e-7;  // change of the sum of squares, over the sum, at which a fit has converged
constexpr double kFarOff = 6.0;  // standard deviations beyond which a pixel is left out
constexpr double kFoot = 2.0;    // spreads from the edge within which the shape of the edge shows
constexpr std::size_t kFewest = 5 * kUnknowns;

double squared(double v) {
    return v * v;
}

double medianMagnitude(std::vector<double> values) {
    for (double& v : values) v = std::abs(v);
    return vision::detail::upperMedian(std::move(values));
}

/// Value and gradient of the model at a sample.
double modelAt(const EdgeLine& line, const EdgeProfile& profile, const EdgeSample& s, Vector& gradient) {
    const double u = line.distance(s.x, s.y), t = s.y / line.reach;
    const EdgeProfile::Value edge = profile.at(u);
    const double low = line.level(0, u, s.y), high = line.level(1, u, s.y);
    const double here = 1.0 - edge.level, there = edge.level;
    const double across =
        edge.slope * (high - low) + (here * line.levels(1) + there * line.levels(4)) / line.unit;
    const double shift = -across * std::cos(line.angle());  // of the curve by a pixel along x
    gradient(0) = shift;
    gradient(1) = shift * t;
    gradient(2) = shift * t * t;
    gradient(kOptics) = edge.bySpread * (high - low);
    const double terms[3] = {1.0, u / line.unit, t};
    for (int i = 0; i < 3; ++i) {
        gradient(kLevels + i) = here * terms[i];
        gradient(kLevels + 3 + i) = there * terms[i];
    }
    return here * low + there * high;
}

/// The sum of squares at a state of the fit, with what a Gauss-Newton step takes.
struct NormalEquations {
    NormalEquations(const EdgeFit& fit, const std::vector<EdgeSample>& samples) {
        const EdgeProfile profile = fit.profile();
        Vector gradient;
        for (const EdgeSample& s : samples) {
            const double misfit = s.value - modelAt(fit.line, profile, s, gradient);
            squares += misfit * misfit;
            for (int i = 0; i < kUnknowns; ++i) {
                right(i) += gradient(i) * misfit;
                for (int j = 0; j <= i; ++j) left(i, j) += gradient(i) * gradient(j);
            }
        }
        for (int i = 0; i < kUnknowns; ++i) {
            for (int j = 0; j < i; ++j) left(j, i) = left(i, j);
        }
    }

    Matrix left = Matrix::zeros();
    Vector right = Vector::zeros();
    double squares = 0.0;
};

void moveBy(EdgeFit& fit, const Vector& step) {
    fit.line.c0 += step(0);
    fit.line.c1 += step(1);
    fit.line.c2 += step(2);
    fit.optics = std::clamp(fit.optics + step(kOptics), std::max(kLeastOptics, 0.5 * fit.optics),
                            std::min(kMostOptics, 2.0 * fit.optics + kLeastOptics));
    for (int i = 0; i < 6; ++i) fit.line.levels(i) += step(kLevels + i);
}

/// Levenberg's and Marquardt's steps to the least sum of squares (D. W. Marquardt, J. SIAM 11, 1963).
bool minimise(EdgeFit& fit, const std::vector<EdgeSample>& samples) {
    if (samples.size() < kFewest) return false;
    double damping = 1e-3;
    NormalEquations here(fit, samples);
    for (int step = 0; step < kMostSteps && damping < 1e9; ++step) {
        Matrix damped = here.left;
        // The last term is for an optics so sharp that nothing depends on it.
        for (int i = 0; i < kUnknowns; ++i) damped(i, i) += damping * here.left(i, i) + 1e-12;
        EdgeFit moved = fit;
        bool solved = false;
        const Matrix inverse = damped.inv(cv::DECOMP_CHOLESKY, &solved);
        if (!solved) return false;
        moveBy(moved, inverse * here.right);
        const NormalEquations there(moved, samples);
        if (!(there.squares <= here.squares)) {
            damping *= 8.0;
            continue;
        }
        const bool still = here.squares - there.squares <= kStill * here.squares;
        fit = moved;
        here = there;
        damping *= 0.2;
        if (still) return true;
    }
    return damping >= 1e9;  // no step improves it any more
}

/// The samples near the edge that the fit explains, as far as it has come.
std::vector<EdgeSample> within(const EdgeFit& fit, const std::vector<EdgeSample>& samples, double zone,
                               double most) {
    const EdgeProfile profile = fit.profile();
    std::vector<EdgeSample> near;
    Vector ignored;
    for (const EdgeSample& s : samples) {
        if (std::abs(fit.line.distance(s.x, s.y)) > zone) continue;
        if (most > 0.0 && std::abs(s.value - modelAt(fit.line, profile, s, ignored)) > most) continue;
        near.push_back(s);
    }
    return near;
}

/// The misfit from which a pixel is left out. Where the shape of the edge is not quite that of the model, all pixels on it
/// misfit more than those beside it.
double mostMisfit(const EdgeFit& fit, const std::vector<EdgeSample>& samples) {
    const EdgeProfile profile = fit.profile();
    std::vector<double> beside, on;
    Vector ignored;
    for (const EdgeSample& s : samples) {
        const double misfit = s.value - modelAt(fit.line, profile, s, ignored);
        (std::abs(fit.line.distance(s.x, s.y)) < kFoot * profile.spread() ? on : beside).push_back(misfit);
    }
    constexpr double kSigmaPerMedian = 1.4826;
    return kFarOff * kSigmaPerMedian * std::max(medianMagnitude(beside), medianMagnitude(on)) +
           1e-6 * std::abs(fit.line.height());
}

/// Misfits, the influence of each value on the result, and from both the error: a change of value q by e_q changes the
/// result by h_q e_q, with h a row of (J^T J)^-1 J^T.
void describe(EdgeFit& fit) {
    const NormalEquations equations(fit, fit.used);
    bool solved = false;
    const Matrix inverse = equations.left.inv(cv::DECOMP_CHOLESKY, &solved);
    fit.converged = solved;
    if (!solved) return;
    const EdgeProfile profile = fit.profile();
    Vector gradient;
    double variance = 0.0;
    for (const EdgeSample& s : fit.used) {
        fit.misfit.push_back(s.value - modelAt(fit.line, profile, s, gradient));
        fit.influence.push_back((inverse.row(kOptics) * gradient)(0));
        variance += squared(fit.misfit.back() * fit.influence.back());
    }
    const double n = static_cast<double>(fit.used.size());
    fit.error = std::sqrt(variance * n / (n - kUnknowns));
    fit.noise = std::sqrt(equations.squares / (n - kUnknowns));
}

/// Levels of both sides before the first step, by their mean values.
void guessLevels(EdgeLine& line, const std::vector<EdgeSample>& samples) {
    double sums[2] = {}, counts[2] = {};
    for (const EdgeSample& s : samples) {
        const double u = line.distance(s.x, s.y);
        if (std::abs(u) < 2.0) continue;
        const int side = u > 0.0 ? 1 : 0;
        sums[side] += s.value;
        counts[side] += 1.0;
    }
    line.levels = {};
    for (int side = 0; side < 2; ++side) line.levels(3 * side) = sums[side] / std::max(counts[side], 1.0);
}

}  // namespace

double EdgeLine::angle() const {
    return std::atan2(c1, reach);
}

double EdgeLine::distance(double x, double y) const {
    const double t = y / reach;
    return (x - c0 - (c1 + c2 * t) * t) * std::cos(angle());
}

double EdgeLine::level(int side, double distance, double y) const {
    const int i = 3 * side;
    return levels(i) + levels(i + 1) * distance / unit + levels(i + 2) * y / reach;
}

double EdgeFit::zone() const {
    return std::max(kLeastZone, kZoneSpreads * profile().spread());
}

EdgeFit fitEdge(const EdgeRegion& region, double pixel) {
    EdgeFit fit;
    fit.line = region.start;
    fit.line.unit = kFirstZone;
    fit.pixel = pixel;
    fit.optics = kFirstOptics;
    std::vector<EdgeSample> samples = within(fit, region.samples, kFirstZone, 0.0);
    guessLevels(fit.line, samples);
    double most = 0.0;
    for (int round = 0; round < kRounds; ++round) {
        if (!minimise(fit, samples)) return fit;
        most = mostMisfit(fit, samples);
        samples = within(fit, region.samples, fit.zone(), most);
    }
    if (!minimise(fit, samples)) return fit;
    fit.used = samples;
    describe(fit);
    return fit;
}

EdgeFit refitEdge(const EdgeFit& fit, double pixel) {
    EdgeFit again;
    again.line = fit.line;
    again.pixel = pixel;
    const double optics = squared(fit.profile().spread()) - pixel * pixel / 12.0;
    again.optics = std::sqrt(std::max(optics, squared(kLeastOptics)));
    if (!minimise(again, fit.used)) return again;
    again.used = fit.used;
    describe(again);
    return again;
}

}  // namespace oravo::tools
