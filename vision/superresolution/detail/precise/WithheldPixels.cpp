#include "vision/superresolution/detail/precise/WithheldPixels.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>

#include "vision/superresolution/detail/precise/BicubicReference.h"
#include "vision/superresolution/detail/precise/Elementary.h"
#include "vision/superresolution/detail/precise/FrameCrop.h"
#include "vision/superresolution/detail/precise/FrameNoise.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr std::uint64_t kEvery = 13;
constexpr double kReach = 2.0;  ///< powers of two that are tried on each side of the guess
constexpr double kFarthest = 9.0;
constexpr int kRefinements = 2;
constexpr double kCloseEnough = 1.1;    ///< powers of two between the best strength and its neighbours
constexpr double kTrim = 6.0;           ///< standard deviations beyond which an error counts no more
constexpr double kDisplacement = 0.05;  ///< pixels

constexpr SolverLimits kTrialLimits{3, 6, 1e-3};

bool isWithheld(std::size_t pixel, std::size_t frame) {
    std::uint64_t hash = pixel * 0x9E3779B97F4A7C15ull ^ (frame + 1) * 0xC2B2AE3D27D4EB4Full;
    hash ^= hash >> 29;
    hash *= 0xBF58476D1CE4E5B9ull;
    hash ^= hash >> 32;
    return hash % kEvery == 0;
}

/// Where a parabola through three points has its minimum; that of the middle point where they are in line.
double vertex(double x1, double y1, double x2, double y2, double x3, double y3) {
    const double numerator = (x2 - x1) * (x2 - x1) * (y2 - y3) - (x2 - x3) * (x2 - x3) * (y2 - y1);
    const double denominator = (x2 - x1) * (y2 - y3) - (x2 - x3) * (y2 - y1);
    return std::abs(denominator) > 1e-12 ? x2 - 0.5 * numerator / denominator : x2;
}

struct Trial {
    double exponent, error;  ///< strength over the guess, as a power of two; mean squared error
};

/// Strengths that were tried, from the smallest to the largest.
class Trials {
  public:
    void add(const Trial& trial) {
        const auto smaller = [](const Trial& p, const Trial& q) { return p.exponent < q.exponent; };
        all_.insert(std::upper_bound(all_.begin(), all_.end(), trial, smaller), trial);
    }

    /// What to try next: beyond the best where it lies at an end, else the middle of the wider gap beside it. None where
    /// both are narrow.
    std::optional<double> next() const {
        const auto at = best();
        if (at == all_.begin()) return at->exponent - kReach;
        if (at + 1 == all_.end()) return at->exponent + kReach;
        const double below = at->exponent - (at - 1)->exponent, above = (at + 1)->exponent - at->exponent;
        if (std::max(below, above) < kCloseEnough) return std::nullopt;
        return below > above ? at->exponent - 0.5 * below : at->exponent + 0.5 * above;
    }

    /// Of a parabola through the logarithms of the best three errors.
    double minimum() const {
        const auto at = best();
        if (at == all_.begin() || at + 1 == all_.end()) return at->exponent;
        return vertex((at - 1)->exponent, logarithm((at - 1)->error), at->exponent, logarithm(at->error),
                      (at + 1)->exponent, logarithm((at + 1)->error));
    }

  private:
    std::vector<Trial>::const_iterator best() const {
        return std::min_element(all_.begin(), all_.end(),
                                [](const Trial& p, const Trial& q) { return p.error < q.error; });
    }

    std::vector<Trial> all_;
};

}  // namespace

WithheldPixels::WithheldPixels(const Grid& grid, const BlurShape& blur, const std::vector<FrameState>& frames,
                               int reference, const Buffer<float>& pattern, const PaddedImage& start,
                               const Threads& threads)
    : grid_(grid), reference_(reference), solver_(croppedGrid(grid), blur, threads) {
    const FrameCrop crop = busiestCrop(grid, start);
    grid_ = solver_.grid();
    for (const FrameState& frame : frames) frames_.push_back(crop.of(frame));
    pattern_ = crop.of(pattern);
    image_ = crop.of(start);
    withhold();
}

void WithheldPixels::withhold() {
    for (std::size_t k = 0; k < frames_.size(); ++k) {
        if (!frames_[k].used) continue;
        for (std::size_t q = 0; q < frames_[k].weight.size(); ++q) {
            float& weight = frames_[k].weight[q];
            if (!(weight > 0.0f) || !isWithheld(q, k)) continue;
            held_.push_back({k, q, weight});
            weight = 0.0f;
        }
    }
    prediction_.resize(held_.size());
}

double WithheldPixels::predict(double strength) {
    solver_.solve(frames_, pattern_, strength, kTrialLimits, image_);
    const SplineImage& coefficients = solver_.coefficients(image_);
    std::vector<float> frame(static_cast<std::size_t>(grid_.width) * static_cast<std::size_t>(grid_.height));
    std::size_t next = 0;
    for (std::size_t k = 0; k < frames_.size(); ++k) {
        for (const SampleRun& run : frames_[k].runs) {
            preciseKernels().sample(
                coefficients.view(), run,
                &frame[static_cast<std::size_t>(run.y) * static_cast<std::size_t>(grid_.width)]);
        }
        for (; next < held_.size() && held_[next].frame == k; ++next)
            prediction_[next] = frame[held_[next].pixel];
    }
    std::size_t pixels = 0;
    return squaredError(true, pixels);
}

double WithheldPixels::squaredError(bool referenceToo, std::size_t& pixels) const {
    double sum = 0.0, weight = 0.0;
    pixels = 0;
    for (std::size_t i = 0; i < held_.size(); ++i) {
        if (!referenceToo && static_cast<int>(held_[i].frame) == reference_) continue;
        const FrameState& frame = frames_[held_[i].frame];
        const std::size_t q = held_[i].pixel;
        const double own = pattern_.size() != 0 ? pattern_[q] : 0.0;
        const double error = (frame.values[q] - frame.offset) / frame.gain - own - prediction_[i];
        const double most = kTrim * lengthOf(frame.scale, kDisplacement * frame.slope[q]);
        sum += held_[i].weight * std::min(error * error, most * most);
        weight += held_[i].weight;
        ++pixels;
    }
    return weight > 0.0 ? sum / weight : 0.0;
}

double WithheldPixels::bicubicSquaredError() const {
    const BicubicReference bicubic(frames_[static_cast<std::size_t>(reference_)], grid_.width, grid_.height,
                                   pattern_);
    double sum = 0.0, weight = 0.0;
    for (const Held& held : held_) {
        if (static_cast<int>(held.frame) == reference_) continue;
        const FrameState& frame = frames_[held.frame];
        const std::size_t row = held.pixel / static_cast<std::size_t>(grid_.width);
        const std::size_t column = held.pixel % static_cast<std::size_t>(grid_.width);
        const double x = static_cast<double>(column) - 0.5 * (grid_.width - 1);
        const double y = static_cast<double>(row) - 0.5 * (grid_.height - 1);
        const double own = pattern_.size() != 0 ? pattern_[held.pixel] : 0.0;
        const double seen = (frame.values[held.pixel] - frame.offset) / frame.gain - own;
        const double error = seen - bicubic.at(frame.motion.x(x, y) + 0.5 * (grid_.width - 1),
                                               frame.motion.y(x, y) + 0.5 * (grid_.height - 1));
        const double most = kTrim * lengthOf(frame.scale, kDisplacement * frame.slope[held.pixel]);
        sum += held.weight * std::min(error * error, most * most);
        weight += held.weight;
    }
    return weight > 0.0 ? sum / weight : 0.0;
}

WithheldChoice WithheldPixels::choose(double guess) {
    WithheldChoice choice;
    choice.strength = guess;
    choice.frameNoise = frameNoise(frames_[static_cast<std::size_t>(reference_)], grid_.width, grid_.height);
    if (held_.empty()) return choice;
    Trials trials;
    const auto attempt = [&](double exponent) {
        trials.add({exponent, predict(guess * powerOfTwo(exponent))});
    };
    // From smooth to sharp, each image starting from the one before.
    for (const double exponent : {kReach, 0.0, -kReach}) attempt(exponent);
    for (int i = 0; i < kRefinements; ++i) {
        const std::optional<double> next = trials.next();
        if (!next || std::abs(*next) > kFarthest) break;
        attempt(*next);
    }
    choice.strength = guess * powerOfTwo(trials.minimum());
    predict(choice.strength);
    choice.error = std::sqrt(squaredError(false, choice.pixels));
    choice.bicubicError = std::sqrt(bicubicSquaredError());
    return choice;
}

}  // namespace oravo::vision::detail::precise
