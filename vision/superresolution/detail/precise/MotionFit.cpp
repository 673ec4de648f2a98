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
constexpr double kStill = 1e-4;  ///< steps shorter than this many pixels end a fit

int motionParameters(MotionModel model) {
    return model == MotionModel::translation ? 2 : model == MotionModel::similarity ? 4 : 6;
}

}  // namespace

struct MotionFit::Equations : SmallSystem {
    double weight = 0.0;    ///< sum
    double residual = 0.0;  ///< weighted sum of squares

    /// Variance of a parameter, the misfit's variance estimated from what is left of it.
    double variance(int parameter) const {
        double unit[kMost] = {};
        unit[parameter] = 1.0;
        solve(unit);
        return unit[parameter] * residual / std::max(weight - n, 1.0);
    }
};

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
    for (const SampleRun& run : sampleRuns(grid_, pose.motion)) {
        if (run.y % rowStep != 0) continue;
        preciseKernels().sampleGradient(image.view(), run, value_.data(), slopeX_.data(), slopeY_.data());
        const std::ptrdiff_t start = static_cast<std::ptrdiff_t>(run.y) * grid_.width;
        const float y = static_cast<float>((run.y - centreY) / unit_);
        for (int i = run.first; i < run.first + run.count; ++i) {
            if (!(weight[start + i] > 0.0f)) continue;
            const std::size_t at = static_cast<std::size_t>(i);
            const float misfit = values[start + i] - static_cast<float>(pose.offset) -
                                 static_cast<float>(pose.gain) * value_[at];
            points_.push_back({misfit, slopeX_[at], slopeY_[at], value_[at], weight[start + i],
                               static_cast<float>((i - centreX) / unit_), y});
        }
    }
}

double MotionFit::medianMisfit() {
    magnitudes_.clear();
    for (const Point& point : points_) magnitudes_.push_back(std::abs(point.misfit));
    return kSigmaPerMedian * medianOf(magnitudes_) + 1e-7;
}

MotionFit::Equations MotionFit::normalEquations(MotionModel model, double gain, double scale) const {
    Equations equations;
    const int motion = motionParameters(model);
    equations.n = motion + 2;
    for (const Point& point : points_) {
        const double u = point.misfit / (kCauchy * scale);
        const double weight = point.weight / (1.0 + u * u);
        const double gx = gain * grid_.factor * point.slopeX;
        const double gy = gain * grid_.factor * point.slopeY;
        double row[SmallSystem::kMost] = {gx, gy};
        if (model == MotionModel::similarity) {
            row[2] = gx * point.x + gy * point.y;
            row[3] = gy * point.x - gx * point.y;
        } else if (model == MotionModel::affine) {
            row[2] = gx * point.x;
            row[3] = gx * point.y;
            row[4] = gy * point.x;
            row[5] = gy * point.y;
        }
        row[motion] = point.value;
        row[motion + 1] = 1.0;
        equations.add(row, point.misfit, weight);
        equations.weight += weight;
        equations.residual += weight * point.misfit * point.misfit;
    }
    return equations;
}

FitOutcome MotionFit::fit(const SplineImage& image, const float* values, const float* weight,
                          MotionModel model, FitLimits limits, FramePose& pose) {
    FitOutcome outcome;
    const double pixels = static_cast<double>(grid_.width) * grid_.height;
    const int rowStep = std::max(1, static_cast<int>(pixels / limits.pixels + 0.5));
    const int motion = motionParameters(model);
    bool moving = true;
    for (int step = 0;; ++step) {
        collect(image, values, weight, pose, rowStep);
        const double rows = (grid_.height + rowStep - 1) / rowStep;
        outcome.covered = static_cast<double>(points_.size()) / (rows * grid_.width);
        outcome.valid = false;
        if (points_.size() < kFewest) return outcome;
        outcome.misfit = medianMisfit();
        Equations equations = normalEquations(model, pose.gain, outcome.misfit);
        if (!equations.decompose()) return outcome;
        outcome.valid = true;
        if (!moving || step == limits.steps) {
            outcome.errors.x = std::sqrt(equations.variance(0));
            outcome.errors.y = std::sqrt(equations.variance(1));
            double corner = equations.variance(0) + equations.variance(1);
            for (int i = 2; i < motion; ++i)
                corner += 2.0 * equations.variance(i) / (model == MotionModel::affine ? 2 : 1);
            outcome.errors.corner = std::sqrt(corner);
            return outcome;
        }
        double b[SmallSystem::kMost];
        std::copy_n(equations.right, SmallSystem::kMost, b);
        equations.solve(b);
        const double length = lengthOf(b[0], b[1]);
        const double share = length > kLongestStep ? kLongestStep / length : 1.0;
        for (int i = 0; i < equations.n; ++i) b[i] *= share;
        Motion& m = pose.motion;
        m.tx += b[0];
        m.ty += b[1];
        if (model == MotionModel::similarity) {
            m.axx += b[2] / unit_;
            m.ayy += b[2] / unit_;
            m.axy -= b[3] / unit_;
            m.ayx += b[3] / unit_;
        } else if (model == MotionModel::affine) {
            m.axx += b[2] / unit_;
            m.axy += b[3] / unit_;
            m.ayx += b[4] / unit_;
            m.ayy += b[5] / unit_;
        }
        pose.gain = std::clamp(pose.gain + b[motion], kLeastGain, kMostGain);
        pose.offset += b[motion + 1];
        moving = length > kStill;
    }
}

}  // namespace oravo::vision::detail::precise
