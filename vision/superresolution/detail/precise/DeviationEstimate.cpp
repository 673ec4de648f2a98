#include "vision/superresolution/detail/precise/DeviationEstimate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "vision/superresolution/detail/precise/Misfit.h"
#include "vision/superresolution/detail/precise/SeparableFilter.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr int kProbeSteps = 10;
constexpr double kLeastFreedom = 0.05;  ///< share of the noise that an image leaves unexplained, at least
constexpr double kProbeBlur = 1.6;      ///< of squared responses, pixels of the image

/// Share of noise in the frames that the image takes over.
double explainedNoise(ImageSolver& solver, const std::vector<FrameState>& frames,
                      const std::vector<Buffer<float>>& noise, const PaddedImage& response) {
    const SplineImage& coefficients = solver.coefficients(response);
    std::vector<float> row(static_cast<std::size_t>(solver.grid().width));
    double explained = 0.0, all = 0.0;
    for (std::size_t k = 0; k < frames.size(); ++k) {
        if (!frames[k].used) continue;
        for (const SampleRun& run : frames[k].runs) {
            preciseKernels().sample(coefficients.view(), run, row.data());
            for (int i = run.first; i < run.first + run.count; ++i) {
                const std::size_t q =
                    static_cast<std::size_t>(run.y) * static_cast<std::size_t>(solver.grid().width) +
                    static_cast<std::size_t>(i);
                const double sent = static_cast<double>(frames[k].weight[q]) * noise[k][q];
                explained += sent * row[static_cast<std::size_t>(i)];
                all += sent * noise[k][q];
            }
        }
    }
    return all > 0.0 ? explained / all : 0.0;
}

/// Noise of each frame's own strength, with signs from a hash.
std::vector<Buffer<float>> probeNoise(const std::vector<FrameState>& frames) {
    std::vector<Buffer<float>> noise;
    for (std::size_t k = 0; k < frames.size(); ++k) {
        const FrameState& frame = frames[k];
        Buffer<float> signs(frame.values.size());
        for (std::size_t q = 0; q < signs.size(); ++q) {
            std::uint64_t hash = (q + 1) * 0x9E3779B97F4A7C15ull + k * 0xD1B54A32D192ED03ull;
            hash ^= hash >> 31;
            hash *= 0x94D049BB133111EBull;
            hash ^= hash >> 30;
            signs[q] = static_cast<float>((hash & 1) != 0 ? frame.scale : -frame.scale);
        }
        noise.push_back(signs);
    }
    return noise;
}

}  // namespace

double estimateDeviation(const std::vector<FrameState>& frames, ImageSolver& solver,
                         const PaddedImage& deviation) {
    // The response of the linearised estimator to such noise, squared and averaged over a neighbourhood, is a pixel's
    // variance (M. F. Hutchinson, Commun. Statist. Simul. 19, 1990).
    const std::vector<Buffer<float>> noise = probeNoise(frames);
    const PaddedImage response(solver.grid().columns(), solver.grid().rows());
    solver.propagate(frames, noise, kProbeSteps, response);
    // The misfit is smaller than the noise by the square root of the degrees of freedom that the image leaves.
    const double correction =
        1.0 / std::sqrt(std::max(1.0 - explainedNoise(solver, frames, noise, response), kLeastFreedom));
    for (int y = 0; y < response.rows(); ++y) {
        for (int x = 0; x < response.columns(); ++x) response.row(y)[x] *= response.row(y)[x];
    }
    const PaddedImage variance = filtered(gaussianTaps(kProbeBlur), response);
    for (int y = 0; y < variance.rows(); ++y) {
        for (int x = 0; x < variance.columns(); ++x)
            deviation.row(y)[x] = static_cast<float>(correction) * std::sqrt(variance.row(y)[x]);
    }
    return correction * medianScale(frames);
}

}  // namespace oravo::vision::detail::precise
