#include "vision/superresolution/detail/precise/MotionFit.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "vision/superresolution/detail/precise/SmallSystem.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr double kCauchy = 3.0;       ///< misfit, in standard deviations, at which a pixel counts half
constexpr std::size_t kFewest = 24;   ///< pixels that a fit takes
constexpr double kLongestStep = 3.0;  ///< pixels
constexpr double kLeastGain = 0.2, kMostGain = 5.0;
constexpr int kBlock = 256;  ///< points whose equations are made at a time
constexpr int kParts = 16;   ///< that threads share, whatever their number, as sums of each are added

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

void MotionFit::Points::resize(std::size_t size) {
    for (std::vector<float>* values : {&misfit, &slopeX, &slopeY, &value, &weight, &x, &y})
        values->resize(size);
}

MotionFit::MotionFit(const Grid& grid, const Threads& threads)
    : grid_(grid), threads_(threads), unit_(0.5 * std::max(grid.width, grid.height)), parts_(kParts) {
}

/// @param at  the place of the run's first pixel among the points
void MotionFit::collectRun(const SplineImage& image, const float* values, const float* weight,
                           const FramePose& pose, const SampleRun& run, std::size_t at,
                           Points& points) const {
    SampleRun sampled = run;
    sampled.first = 0;
    float *value = &points.value[at], *misfit = &points.misfit[at];
    preciseKernels().sampleGradient(image.view(), sampled, value, &points.slopeX[at], &points.slopeY[at]);
    const std::ptrdiff_t start = grid_.rowStart(run.y) + run.first;
    std::copy_n(weight + start, run.count, &points.weight[at]);
    const float offset = static_cast<float>(pose.offset), gain = static_cast<float>(pose.gain);
    const double centreX = 0.5 * (grid_.width - 1), centreY = 0.5 * (grid_.height - 1);
    for (int i = 0; i < run.count; ++i) {
        misfit[i] = values[start + i] - offset - gain * value[i];
        points.x[at + static_cast<std::size_t>(i)] = static_cast<float>((run.first + i - centreX) / unit_);
    }
    std::fill_n(&points.y[at], run.count, static_cast<float>((run.y - centreY) / unit_));
    for (int i = 0; i < run.count; ++i) {
        if (weight[start + i] > 0.0f) points.misfits.push_back(misfit[i]);
    }
}

void MotionFit::collect(const SplineImage& image, const float* values, const float* weight,
                        const FramePose& pose, int rowStep) {
    const std::vector<SampleRun> runs = sampleRuns(grid_, pose.motion, rowStep);
    threads_.forEach(kParts, [&](int part, int) {
        const Band band = Threads::bandOf(part, kParts, static_cast<int>(runs.size()));
        const auto first = runs.begin() + band.first, end = runs.begin() + band.end;
        Points& points = parts_[static_cast<std::size_t>(part)];
        points.misfits.clear();
        points.resize(std::accumulate(first, end, std::size_t{0}, [](std::size_t size, const SampleRun& run) {
            return size + static_cast<std::size_t>(run.count);
        }));
        std::size_t at = 0;
        for (auto run = first; run != end; at += static_cast<std::size_t>(run->count), ++run)
            collectRun(image, values, weight, pose, *run, at, points);
    });
    misfits_.clear();
    for (const Points& points : parts_)
        misfits_.insert(misfits_.end(), points.misfits.begin(), points.misfits.end());
}

void MotionFit::addEquations(const Points& points, MotionModel model, double gain, double scale,
                             double* sums) const {
    const int motion = motionParameters(model);
    const int columns = motion + 3;  // of the motion, gain and offset, and the misfit
    float column[SmallSystem::kMost + 1][kBlock], weight[kBlock];
    const float* rows[SmallSystem::kMost + 1];
    for (int c = 0; c < columns; ++c) rows[c] = column[c];
    std::fill_n(column[motion + 1], kBlock, 1.0f);
    const float slope = static_cast<float>(gain * grid_.factor);
    const float narrow = static_cast<float>(1.0 / (kCauchy * scale));
    for (std::size_t start = 0; start < points.size(); start += kBlock) {
        const int n = static_cast<int>(std::min<std::size_t>(kBlock, points.size() - start));
        const float *misfit = &points.misfit[start], *x = &points.x[start], *y = &points.y[start];
        for (int i = 0; i < n; ++i) {
            const float u = misfit[i] * narrow;
            weight[i] = points.weight[start + static_cast<std::size_t>(i)] / (1.0f + u * u);
            column[0][i] = slope * points.slopeX[start + static_cast<std::size_t>(i)];
            column[1][i] = slope * points.slopeY[start + static_cast<std::size_t>(i)];
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
        rows[motion] = &points.value[start];
        rows[motion + 2] = misfit;
        preciseKernels().gram(rows, columns, weight, n, sums);
    }
}

MotionFit::Equations MotionFit::normalEquations(MotionModel model, double gain, double scale) const {
    constexpr std::size_t kSums = (SmallSystem::kMost + 1) * (SmallSystem::kMost + 2) / 2;
    double ofParts[kParts][kSums] = {};
    threads_.forEach(kParts, [&](int part, int) {
        addEquations(parts_[static_cast<std::size_t>(part)], model, gain, scale, ofParts[part]);
    });
    double sums[kSums] = {};
    for (const auto& part : ofParts) {
        for (std::size_t i = 0; i < kSums; ++i) sums[i] += part[i];
    }
    return Equations(motionParameters(model) + 2, sums);
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
        outcome.covered = static_cast<double>(misfits_.size()) / (static_cast<double>(rows) * grid_.width);
        outcome.valid = false;
        if (misfits_.size() < kFewest) return outcome;
        outcome.misfit =
            kSigmaPerMedian * medianMagnitude(misfits_.data(), misfits_.size(), magnitudes_) + 1e-7;
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
