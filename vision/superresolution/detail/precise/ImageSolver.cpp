#include "vision/superresolution/detail/precise/ImageSolver.h"

#include <algorithm>
#include <cmath>

#include "vision/superresolution/detail/numerics/LaneSum.h"

namespace oravo::vision::detail::precise {
namespace {

/// Sum of the squares of the taps of a Gaussian in two dimensions: the weight of a sample on its own place.
float energyOfGaussian(double sigma) {
    constexpr double kInverseRootPi = 0.56418958354775628;
    const double line = kInverseRootPi / (2.0 * sigma);
    return static_cast<float>(line * line);
}

/// Steps end early where they have brought the residual down by this factor, squared.
constexpr double kEnough = 1e-6;

}  // namespace

ImageSolver::ImageSolver(const Grid& grid, const BlurShape& blur, const Threads& threads)
    : grid_(grid),
      threads_(threads),
      operator_(grid, blur, threads),
      prior_(grid.columns(), grid.rows(), threads),
      sampleEnergy_(energyOfGaussian(blur.spread())),
      coefficients_(grid),
      sensitivity_(grid.columns(), grid.rows()),
      rightSide_(grid.columns(), grid.rows()),
      residual_(grid.columns(), grid.rows()),
      direction_(grid.columns(), grid.rows()),
      product_(grid.columns(), grid.rows()),
      inverse_(grid.columns(), grid.rows()),
      before_(grid.columns(), grid.rows()),
      rowSums_(static_cast<std::size_t>(grid.rows())) {
}

const SplineImage& ImageSolver::coefficients(const PaddedImage& image) {
    operator_.toCoefficients(image, coefficients_);
    return coefficients_;
}

void ImageSolver::spread(const std::vector<FrameState>& frames, Buffer<float> FrameState::*values,
                         const PaddedImage& out) {
    operator_.place(frames);
    operator_.spread(
        [&](std::size_t k, const SampleRun& run, float* row) {
            std::copy_n((frames[k].*values).data() + grid_.rowStart(run.y) + run.first, run.count,
                        row + run.first);
        },
        out);
}

void ImageSolver::sensitivity(const std::vector<FrameState>& frames, const PaddedImage& out) {
    spread(frames, &FrameState::weight, out);
}

void ImageSolver::presence(const std::vector<FrameState>& frames, const PaddedImage& out) {
    spread(frames, &FrameState::present, out);
}

void ImageSolver::prepareInverse() {
    threads_.forRows(inverse_.rows(), [&](int first, int end, int) {
        for (int y = first; y < end; ++y) {
            float* inverse = inverse_.row(y);
            const float* weight = sensitivity_.row(y);
            for (int i = 0; i < inverse_.columns(); ++i) {
                inverse[i] = sampleEnergy_ * (weight[i] > 0.0f ? weight[i] : 0.0f) + 1e-6f;
            }
            prior_.addDiagonal(y, inverse);
            for (int i = 0; i < inverse_.columns(); ++i) inverse[i] = 1.0f / inverse[i];
        }
    });
}

double ImageSolver::sumOfRows() const {
    double sum = 0.0;
    for (const double row : rowSums_) sum += row;
    return sum;
}

void ImageSolver::conjugateGradients(const PaddedImage& estimate, int steps) {
    const PreciseKernels& kernels = preciseKernels();
    const int n = estimate.columns();
    const auto begin = [&](const FrameOperator::SweptRow& row) {
        const int y = row.y;
        prior_.addRow(estimate, y, row.slot, row.opensBand, product_.row(y));
        rowSums_[static_cast<std::size_t>(y)] = kernels.begin(
            rightSide_.row(y), product_.row(y), inverse_.row(y), n, residual_.row(y), direction_.row(y));
    };
    operator_.apply(estimate, {}, begin, product_);
    double rz = sumOfRows();
    const double enough = kEnough * rz;
    float beta = 0.0f;
    for (int step = 0; step < steps && rz > enough; ++step, ++steps_) {
        if (checkpoint_) checkpoint_();
        const auto turn = [&](int y) {
            if (step > 0) kernels.turn(beta, inverse_.row(y), residual_.row(y), n, direction_.row(y));
        };
        const auto multiply = [&](const FrameOperator::SweptRow& row) {
            const int y = row.y;
            prior_.addRow(direction_, y, row.slot, row.opensBand, product_.row(y));
            rowSums_[static_cast<std::size_t>(y)] = kernels.dot(direction_.row(y), product_.row(y), n);
        };
        operator_.apply(direction_, turn, multiply, product_);
        const double curvature = sumOfRows();
        if (!(curvature > 0.0)) return;
        const float alpha = static_cast<float>(rz / curvature);
        threads_.forRows(estimate.rows(), [&](int first, int end, int) {
            for (int y = first; y < end; ++y) {
                rowSums_[static_cast<std::size_t>(y)] =
                    kernels.step(alpha, direction_.row(y), product_.row(y), inverse_.row(y), n,
                                 estimate.row(y), residual_.row(y));
            }
        });
        const double next = sumOfRows();
        beta = static_cast<float>(next / rz);
        rz = next;
    }
}

void ImageSolver::keep(const PaddedImage& image) {
    threads_.forEachRow(image.rows(),
                        [&](int y) { std::copy_n(image.row(y), image.columns(), before_.row(y)); });
}

double ImageSolver::squaredChange(const PaddedImage& image) {
    threads_.forEachRow(image.rows(), [&](int y) {
        const float *now = image.row(y), *before = before_.row(y);
        LaneSum sum;
        sum.add(image.columns(), [now, before](std::ptrdiff_t i) {
            const double difference = now[i] - before[i];
            return difference * difference;
        });
        rowSums_[static_cast<std::size_t>(y)] = sum.total();
    });
    return sumOfRows();
}

void ImageSolver::solve(const std::vector<FrameState>& frames, const Buffer<float>& pattern, double strength,
                        const SolverLimits& limits, const PaddedImage& image) {
    const auto seen = [&](std::size_t k, const SampleRun& run, float* row) {
        const FrameState& frame = frames[k];
        const float offset = static_cast<float>(frame.offset), gain = static_cast<float>(frame.gain);
        for (int i = run.first; i < run.first + run.count; ++i) {
            const std::ptrdiff_t q = grid_.rowStart(run.y) + i;
            float value = (frame.values.data()[q] - offset) / gain;
            if (pattern.size() != 0) value -= pattern.data()[q];
            row[i] = frame.weight.data()[q] * value;
        }
    };
    sensitivity(frames, sensitivity_);
    operator_.gather(seen, rightSide_);
    for (int freeze = 0; freeze < limits.freezes; ++freeze) {
        prior_.freeze(image, strength);
        prepareInverse();
        keep(image);
        conjugateGradients(image, limits.steps);
        const double pixels = static_cast<double>(image.rows()) * image.columns();
        if (squaredChange(image) <= limits.tolerance * limits.tolerance * pixels) return;
    }
}

void ImageSolver::propagate(const std::vector<FrameState>& frames, const std::vector<Buffer<float>>& values,
                            int steps, const PaddedImage& out) {
    const auto weighted = [&](std::size_t k, const SampleRun& run, float* row) {
        for (int i = run.first; i < run.first + run.count; ++i) {
            row[i] = frames[k].weight.data()[grid_.rowStart(run.y) + i] *
                     values[k].data()[grid_.rowStart(run.y) + i];
        }
    };
    operator_.place(frames);
    operator_.gather(weighted, rightSide_);
    out.clear();
    conjugateGradients(out, steps);
}

}  // namespace oravo::vision::detail::precise
