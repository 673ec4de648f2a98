#include "vision/superresolution/detail/precise/MotionFit.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/precise/SmallSystem.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kCauchy = 3.0;       ///< misfit, in standard deviations, at which a pixel counts half
constexpr std::size_t kFewest = 24;   ///< pixels that a fit takes
constexpr double kLongestStep = 3.0;  ///< pixels
constexpr double kLeastGain = 0.2, kMostGain = 5.0;
constexpr int kBlock = 256;  ///< points whose equations are made at a time

int motionParameters(MotionModel model) {
    return model == MotionModel::translation ? 2 : model == MotionModel::similarity ? 4 : 6;
}

}  // namespace

struct MotionFit::Equations : SmallSystem {
    double weight = 0.0;    ///< sum
    double residual = 0.0;  ///< weighted sum of squares

    /// @param sums  of products of the unknowns' columns, of which the last is all ones, and of the misfit: a triangle
    Equations(int unknowns, const double* sums) {
        n = unknowns;
        for (int r = 0; r < n; ++r) {
            for (int c = 0; c <= r; ++c) matrix[r][c] = *sums++;
        }
        weight = matrix[n - 1][n - 1];
        for (int c = 0; c < n; ++c) right[c] = *sums++;
        residual = *sums;
    }

    /// Variance of a parameter, the misfit's variance estimated from what is left of it.
    double variance(int parameter) const {
        double unit[kMost] = {};
        unit[parameter] = 1.0;
        solve(unit);
        return unit[parameter] * residual / std::max(weight - n, 1.0);
    }
};

void MotionFit::Points::clear() {
    for (std::vector<float>* values : {&misfit, &slopeX, &slopeY, &value, &weight, &x, &y}) values->clear();
}

MotionFit::MotionFit(const Grid& grid)
    : grid_(grid),
      unit_(0.5 * std::max(grid.width, grid.height)),
      value_(static_cast<std::size_t>(grid.width)),
      slopeX_(static_cast<std::size_t>(grid.width)),
      slopeY_(static_cast<std::size_t>(grid.width)) {
}

void MotionFit::collect(const SplineImage& image, const float* values, const float* weight,
                        const FramePose& pose, int rowStep) {
    points_.clear();
    const double centreX = 0.5 * (grid_.width - 1);
    const double centreY = 0.5 * (grid_.height - 1);
    for (const SampleRun& run : sampleRuns(grid_, pose.motion, rowStep)) {
        preciseKernels().sampleGradient(image.view(), run, value_.data(), slopeX_.data(), slopeY_.data());
        const std::ptrdiff_t start = static_cast<std::ptrdiff_t>(run.y) * grid_.width;
        const float y = static_cast<float>((run.y - centreY) / unit_);
        for (int i = run.first; i < run.first + run.count; ++i) {
            if (!(weight[start + i] > 0.0f)) continue;
            const std::size_t at = static_cast<std::size_t>(i);
            points_.misfit.push_back(values[start + i] - static_cast<float>(pose.offset) -
                                     static_cast<float>(pose.gain) * value_[at]);
            points_.slopeX.push_back(slopeX_[at]);
            points_.slopeY.push_back(slopeY_[at]);
            points_.value.push_back(value_[at]);
            points_.weight.push_back(weight[start + i]);
            points_.x.push_back(static_cast<float>((i - centreX) / unit_));
            points_.y.push_back(y);
        }
    }
}

MotionFit::Equations MotionFit::normalEquations(MotionModel model, double gain, double scale) const {
    const int motion = motionParameters(model);
    const int columns = motion + 3;  // of the motion, gain and offset, and the misfit
    float column[SmallSystem::kMost + 1][kBlock], weight[kBlock];
    const float* rows[SmallSystem::kMost + 1];
    for (int c = 0; c < columns; ++c) rows[c] = column[c];
    std::fill_n(column[motion + 1], kBlock, 1.0f);
    const float slope = static_cast<float>(gain * grid_.factor);
    const float narrow = static_cast<float>(1.0 / (kCauchy * scale));
    double sums[(SmallSystem::kMost + 1) * (SmallSystem::kMost + 2) / 2] = {};
    for (std::size_t start = 0; start < points_.size(); start += kBlock) {
        const int n = static_cast<int>(std::min<std::size_t>(kBlock, points_.size() - start));
        const float *misfit = &points_.misfit[start], *x = &points_.x[start], *y = &points_.y[start];
        for (int i = 0; i < n; ++i) {
            const float u = misfit[i] * narrow;
            weight[i] = points_.weight[start + static_cast<std::size_t>(i)] / (1.0f + u * u);
            column[0][i] = slope * points_.slopeX[start + static_cast<std::size_t>(i)];
            column[1][i] = slope * points_.slopeY[start + static_cast<std::size_t>(i)];
        }
        const float *gx = column[0], *gy = column[1];
        if (model == MotionModel::similarity) {
            for (int i = 0; i < n; ++i) {
                column[2][i] = gx[i] * x[i] + gy[i] * y[i];
                column[3][i] = gy[i] * x[i] - gx[i] * y[i];
            }
        } else if (model == MotionModel::affine) {
            for (int i = 0; i < n; ++i) {
                column[2][i] = gx[i] * x[i];
                column[3][i] = gx[i] * y[i];
                column[4][i] = gy[i] * x[i];
                column[5][i] = gy[i] * y[i];
            }
        }
        rows[motion] = &points_.value[start];
        rows[motion + 2] = misfit;
        preciseKernels().gram(rows, columns, weight, n, sums);
    }
    return Equations(motion + 2, sums);
}

MotionErrors MotionFit::errorsOf(const Equations& equations, MotionModel model) {
    MotionErrors errors;
    errors.x = std::sqrt(equations.variance(0));
    errors.y = std::sqrt(equations.variance(1));
    double corner = equations.variance(0) + equations.variance(1);
    for (int i = 2; i < motionParameters(model); ++i)
        corner += 2.0 * equations.variance(i) / (model == MotionModel::affine ? 2 : 1);
    errors.corner = std::sqrt(corner);
    return errors;
}

void MotionFit::advance(FramePose& pose, MotionModel model, const double* step) const {
    Motion& m = pose.motion;
    m.tx += step[0];
    m.ty += step[1];
    if (model == MotionModel::similarity) {
        m.axx += step[2] / unit_;
        m.ayy += step[2] / unit_;
        m.axy -= step[3] / unit_;
        m.ayx += step[3] / unit_;
    } else if (model == MotionModel::affine) {
        m.axx += step[2] / unit_;
        m.axy += step[3] / unit_;
        m.ayx += step[4] / unit_;
        m.ayy += step[5] / unit_;
    }
    const int motion = motionParameters(model);
    pose.gain = std::clamp(pose.gain + step[motion], kLeastGain, kMostGain);
    pose.offset += step[motion + 1];
}

FitOutcome MotionFit::fit(const SplineImage& image, const float* values, const float* weight,
                          MotionModel model, FitLimits limits, FramePose& pose) {
    FitOutcome outcome;
    const double pixels = static_cast<double>(grid_.width) * grid_.height;
    const int rowStep = std::max(1, static_cast<int>(std::lround(pixels / limits.pixels)));
    bool moving = true;
    for (int step = 0;; ++step) {
        collect(image, values, weight, pose, rowStep);
        const int rows = (grid_.height + rowStep - 1) / rowStep;
        outcome.covered = static_cast<double>(points_.size()) / (static_cast<double>(rows) * grid_.width);
        outcome.valid = false;
        if (points_.size() < kFewest) return outcome;
        outcome.misfit =
            kSigmaPerMedian * medianMagnitude(points_.misfit.data(), points_.size(), magnitudes_) + 1e-7;
        Equations equations = normalEquations(model, pose.gain, outcome.misfit);
        if (!equations.decompose()) return outcome;
        outcome.valid = true;
        if (!moving || step == limits.steps) {
            outcome.errors = errorsOf(equations, model);
            return outcome;
        }
        double b[SmallSystem::kMost];
        std::copy_n(equations.right, SmallSystem::kMost, b);
        equations.solve(b);
        const double length = lengthOf(b[0], b[1]);
        const double share = length > kLongestStep ? kLongestStep / length : 1.0;
        for (int i = 0; i < equations.n; ++i) b[i] *= share;
        advance(pose, model, b);
        moving = length > limits.still;
    }
}

}  // namespace oravo::vision::detail::precise
