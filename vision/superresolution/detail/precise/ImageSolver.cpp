#include "vision/superresolution/detail/precise/ImageSolver.h"

#include <algorithm>
#include <cmath>

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

ImageSolver::ImageSolver(const Grid& grid, double sigma)
    : grid_(grid),
      blur_(grid, sigma),
      prior_(grid.columns(), grid.rows()),
      sampleEnergy_(energyOfGaussian(sigma)),
      coefficients_(grid),
      gathered_(grid),
      sensitivity_(grid.columns(), grid.rows()),
      rightSide_(grid.columns(), grid.rows()),
      residual_(grid.columns(), grid.rows()),
      direction_(grid.columns(), grid.rows()),
      product_(grid.columns(), grid.rows()),
      inverse_(grid.columns(), grid.rows()),
      before_(grid.columns(), grid.rows()),
      row_(static_cast<std::size_t>(grid.width)) {
}

const SplineImage& ImageSolver::coefficients(const PaddedImage& image) {
    blur_.toCoefficients(image, coefficients_);
    return coefficients_;
}

double ImageSolver::dot(const PaddedImage& a, const PaddedImage& b) const {
    double sum = 0.0;
    for (int y = 0; y < a.rows(); ++y) sum += preciseKernels().dot(a.row(y), b.row(y), a.columns());
    return sum;
}

void ImageSolver::apply(const std::vector<FrameState>& frames, const PaddedImage& v, const PaddedImage& out) {
    const PreciseKernels& kernels = preciseKernels();
    blur_.toCoefficients(v, coefficients_);
    gathered_.clear();
    const SplineView from = coefficients_.view();
    const SplineView to = gathered_.view();
    for (const FrameState& frame : frames) {
        if (!frame.used) continue;
        for (const SampleRun& run : frame.runs) {
            const float* weight = frame.weight.data() + static_cast<std::ptrdiff_t>(run.y) * grid_.width;
            kernels.sampleAndSpread(from, run, weight, to);
        }
    }
    blur_.fromCoefficients(gathered_, out);
    prior_.addProduct(v, out);
}

template <class ValueAt>
void ImageSolver::gather(const std::vector<FrameState>& frames, ValueAt valueAt) {
    gathered_.clear();
    for (std::size_t k = 0; k < frames.size(); ++k) {
        if (!frames[k].used) continue;
        for (const SampleRun& run : frames[k].runs) {
            const std::ptrdiff_t start = static_cast<std::ptrdiff_t>(run.y) * grid_.width;
            const float* weight = frames[k].weight.data() + start;
            for (int i = run.first; i < run.first + run.count; ++i) {
                row_[static_cast<std::size_t>(i)] = weight[i] * valueAt(k, start + i);
            }
            preciseKernels().spread(gathered_.view(), run, row_.data());
        }
    }
}

void ImageSolver::sensitivity(const std::vector<FrameState>& frames, const PaddedImage& out) {
    gather(frames, [](std::size_t, std::ptrdiff_t) { return 1.0f; });
    blur_.unsorted(gathered_, out);
}

void ImageSolver::presence(const std::vector<FrameState>& frames, const PaddedImage& out) {
    gathered_.clear();
    for (const FrameState& frame : frames) {
        if (!frame.used) continue;
        for (const SampleRun& run : frame.runs) {
            const float* present = frame.present.data() + static_cast<std::ptrdiff_t>(run.y) * grid_.width;
            preciseKernels().spread(gathered_.view(), run, present);
        }
    }
    blur_.unsorted(gathered_, out);
}

void ImageSolver::prepareInverse() {
    for (int y = 0; y < inverse_.rows(); ++y) {
        float* inverse = inverse_.row(y);
        const float* weight = sensitivity_.row(y);
        for (int i = 0; i < inverse_.columns(); ++i) {
            inverse[i] = sampleEnergy_ * (weight[i] > 0.0f ? weight[i] : 0.0f) + 1e-6f;
        }
        prior_.addDiagonal(y, inverse);
        for (int i = 0; i < inverse_.columns(); ++i) inverse[i] = 1.0f / inverse[i];
    }
}

void ImageSolver::conjugateGradients(const std::vector<FrameState>& frames, const PaddedImage& estimate,
                                     int steps) {
    const PreciseKernels& kernels = preciseKernels();
    const int n = estimate.columns();
    const int rows = estimate.rows();
    apply(frames, estimate, product_);
    direction_.clear();
    for (int y = 0; y < rows; ++y) {
        float* residual = residual_.row(y);
        for (int i = 0; i < n; ++i) residual[i] = rightSide_.row(y)[i] - product_.row(y)[i];
        kernels.turn(0.0f, inverse_.row(y), residual, n, direction_.row(y));
    }
    double rz = dot(residual_, direction_);
    const double enough = kEnough * rz;
    for (int step = 0; step < steps && rz > enough; ++step, ++steps_) {
        apply(frames, direction_, product_);
        const double curvature = dot(direction_, product_);
        if (!(curvature > 0.0)) return;
        const float alpha = static_cast<float>(rz / curvature);
        double next = 0.0;
        for (int y = 0; y < rows; ++y) {
            next += kernels.step(alpha, direction_.row(y), product_.row(y), inverse_.row(y), n,
                                 estimate.row(y), residual_.row(y));
        }
        const float beta = static_cast<float>(next / rz);
        rz = next;
        for (int y = 0; y < rows; ++y)
            kernels.turn(beta, inverse_.row(y), residual_.row(y), n, direction_.row(y));
    }
}

void ImageSolver::solve(const std::vector<FrameState>& frames, const Buffer<float>& pattern, double strength,
                        const SolverLimits& limits, const PaddedImage& image) {
    const auto seen = [&](std::size_t k, std::ptrdiff_t q) {
        const FrameState& frame = frames[k];
        const float value =
            (frame.values.data()[q] - static_cast<float>(frame.offset)) / static_cast<float>(frame.gain);
        return pattern.size() != 0 ? value - pattern.data()[q] : value;
    };
    gather(frames, seen);
    blur_.fromCoefficients(gathered_, rightSide_);
    sensitivity(frames, sensitivity_);
    for (int freeze = 0; freeze < limits.freezes; ++freeze) {
        prior_.freeze(image, strength);
        prepareInverse();
        before_.copyFrom(image);
        conjugateGradients(frames, image, limits.steps);
        double moved = 0.0;
        for (int y = 0; y < image.rows(); ++y) {
            for (int i = 0; i < image.columns(); ++i) {
                const double difference = image.row(y)[i] - before_.row(y)[i];
                moved += difference * difference;
            }
        }
        const double pixels = static_cast<double>(image.rows()) * image.columns();
        if (moved <= limits.tolerance * limits.tolerance * pixels) return;
    }
}

void ImageSolver::propagate(const std::vector<FrameState>& frames, const std::vector<Buffer<float>>& values,
                            int steps, const PaddedImage& out) {
    gather(frames, [&](std::size_t k, std::ptrdiff_t q) { return values[k].data()[q]; });
    blur_.fromCoefficients(gathered_, rightSide_);
    out.clear();
    conjugateGradients(frames, out, steps);
}

}  // namespace oravo::vision::detail::precise
