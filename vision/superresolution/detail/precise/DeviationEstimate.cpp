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

/// Products of a frame's noise, weighted, with what the image makes of it, and with itself.
struct Explained {
    double taken = 0.0, all = 0.0;
};

Explained explainedOf(const Grid& grid, const SplineImage& coefficients, const FrameState& frame,
                      const Buffer<float>& noise) {
    std::vector<float> row(static_cast<std::size_t>(grid.width));
    Explained sums;
    for (const SampleRun& run : frame.runs) {
        preciseKernels().sample(coefficients.view(), run, row.data());
        for (int i = run.first; i < run.first + run.count; ++i) {
            const std::size_t q = static_cast<std::size_t>(grid.rowStart(run.y) + i);
            const double sent = static_cast<double>(frame.weight[q]) * noise[q];
            sums.taken += sent * row[static_cast<std::size_t>(i)];
            sums.all += sent * noise[q];
        }
    }
    return sums;
}

/// Share of noise in the frames that the image takes over.
double explainedNoise(ImageSolver& solver, const std::vector<FrameState>& frames,
                      const std::vector<Buffer<float>>& noise, const PaddedImage& response,
                      const Threads& threads) {
    const SplineImage& coefficients = solver.coefficients(response);
    std::vector<Explained> ofFrames(frames.size());
    threads.forEach(static_cast<int>(frames.size()), [&](int frame, int) {
        const std::size_t k = static_cast<std::size_t>(frame);
        if (frames[k].used) ofFrames[k] = explainedOf(solver.grid(), coefficients, frames[k], noise[k]);
    });
    Explained sum;
    for (const Explained& one : ofFrames) {
        sum.taken += one.taken;
        sum.all += one.all;
    }
    return sum.all > 0.0 ? sum.taken / sum.all : 0.0;
}

/// Noise of each frame's own strength, with signs from a hash.
std::vector<Buffer<float>> probeNoise(const std::vector<FrameState>& frames, const Threads& threads) {
    std::vector<Buffer<float>> noise(frames.size());
    threads.forEach(static_cast<int>(frames.size()), [&](int which, int) {
        const std::size_t k = static_cast<std::size_t>(which);
        const FrameState& frame = frames[k];
        Buffer<float> signs(frame.values.size());
        for (std::size_t q = 0; q < signs.size(); ++q) {
            std::uint64_t hash = (q + 1) * 0x9E3779B97F4A7C15ull + k * 0xD1B54A32D192ED03ull;
            hash ^= hash >> 31;
            hash *= 0x94D049BB133111EBull;
            hash ^= hash >> 30;
            signs[q] = static_cast<float>((hash & 1) != 0 ? frame.scale : -frame.scale);
        }
        noise[k] = signs;
    });
    return noise;
}

}  // namespace

double estimateDeviation(const std::vector<FrameState>& frames, ImageSolver& solver,
                         const PaddedImage& deviation, const Threads& threads) {
    // The response of the linearised estimator to such noise, squared and averaged over a neighbourhood, is a pixel's
    // variance (M. F. Hutchinson, Commun. Statist. Simul. 19, 1990).
    const std::vector<Buffer<float>> noise = probeNoise(frames, threads);
    const PaddedImage response(solver.grid().columns(), solver.grid().rows());
    solver.propagate(frames, noise, kProbeSteps, response);
    // The misfit is smaller than the noise by the square root of the degrees of freedom that the image leaves.
    const double correction =
        1.0 /
        std::sqrt(std::max(1.0 - explainedNoise(solver, frames, noise, response, threads), kLeastFreedom));
    threads.forEachRow(response.rows(), [&](int y) {
        for (int x = 0; x < response.columns(); ++x) response.row(y)[x] *= response.row(y)[x];
    });
    const PaddedImage variance = filtered(gaussianTaps(kProbeBlur), response, threads);
    threads.forEachRow(variance.rows(), [&](int y) {
        for (int x = 0; x < variance.columns(); ++x)
            deviation.row(y)[x] = static_cast<float>(correction) * std::sqrt(variance.row(y)[x]);
    });
    return correction * medianScale(frames);
}

}  // namespace oravo::vision::detail::precise
