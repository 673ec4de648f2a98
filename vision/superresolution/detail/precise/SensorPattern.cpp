#include "vision/superresolution/detail/precise/SensorPattern.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "vision/superresolution/detail/precise/DenseImage.h"
#include "vision/superresolution/detail/precise/Misfit.h"
#include "vision/superresolution/detail/precise/Statistics.h"

namespace oravo::vision::detail::precise {
namespace {

constexpr float kTrusted = 0.3f;      ///< weight from which a value counts as noise around the scene
constexpr double kMedianLoss = 1.57;  ///< variance of a median over that of a mean
constexpr int kLineRadius = 8;        ///< lines over which the scene may change
constexpr int kPixelRadius = 3;
// A pattern is accepted from so many times the variance that noise explains; without one the ratio is 0.5 to 2.7 for
// lines and 0.8 to 1.2 for pixels, with one of 3 % of the contrast above 5.
constexpr double kLineEvidence = 4.0;
constexpr double kPixelEvidence = 2.0;
constexpr double kLineNoise = 2.0;  ///< of the explained variance that is taken off
constexpr double kPixelNoise = 1.2;

double varianceByMedian(const std::vector<float>& values) {
    std::vector<float> work;
    const double sigma = kSigmaPerMedian * medianMagnitude(values.data(), values.size(), work);
    return sigma * sigma;
}

}  // namespace

void SensorPattern::averageMisfit(const std::vector<FrameState>& frames) {
    const std::size_t area = static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_);
    common_.assign(area, 0.0f);
    weight_.assign(area, 0.0f);
    for (const FrameState& frame : frames) {
        for (std::size_t q = 0; q < area; ++q) {
            if (!(frame.inside[q] > 0.0f)) continue;
            common_[q] += frame.weight[q] * frame.misfit[q];
            weight_[q] += frame.weight[q];
        }
    }
    for (std::size_t q = 0; q < area; ++q) {
        if (weight_[q] > 0.0f) common_[q] /= weight_[q];
    }
}

double SensorPattern::noiseVariance(const std::vector<FrameState>& frames) const {
    std::vector<float> scatter;
    const double used = static_cast<double>(frames.size());
    for (const FrameState& frame : frames) {
        for (std::size_t q = 0; q < common_.size(); ++q) {
            if (frame.inside[q] > 0.0f && frame.weight[q] > kTrusted)
                scatter.push_back(frame.misfit[q] - common_[q]);
        }
    }
    return used < 2.0 ? 0.0 : varianceByMedian(scatter) * used / (used - 1.0);
}

std::vector<double> SensorPattern::lineLevels(const Lines& lines, double noise, double& explained) const {
    std::vector<double> levels;
    std::vector<float> values;
    explained = 0.0;
    for (int line = 0; line < lines.count; ++line) {
        double weight = 0.0;
        values.clear();
        for (int at = 0; at < lines.length; ++at) {
            const std::size_t q = lines.pixel(line, at);
            if (!(weight_[q] > 0.0f)) continue;
            values.push_back(common_[q] - pattern_[q]);
            weight += weight_[q];
        }
        levels.push_back(medianOf(values));
        if (weight > 0.0) explained += kMedianLoss * noise / weight;
    }
    return levels;
}

bool SensorPattern::addLines(bool columns, double noise) {
    const Lines lines{columns, columns ? width_ : height_, columns ? height_ : width_};
    double explained = 0.0;
    const std::vector<double> level = lineLevels(lines, noise, explained);
    std::vector<double> deviation(level);
    double seen = 0.0;
    for (int line = 0; line < lines.count; ++line) {
        const int first = std::max(0, line - kLineRadius),
                  last = std::min(lines.count - 1, line + kLineRadius);
        double mean = 0.0;
        for (int i = first; i <= last; ++i) mean += level[static_cast<std::size_t>(i)] / (last - first + 1);
        double& own = deviation[static_cast<std::size_t>(line)];
        own -= mean;
        seen += own * own;
    }
    if (!(seen > kLineEvidence * explained)) return false;
    const double own = seen - kLineNoise * explained;
    const double share = own / (own + explained);
    for (int line = 0; line < lines.count; ++line) {
        const float amount = static_cast<float>(share * deviation[static_cast<std::size_t>(line)]);
        for (int at = 0; at < lines.length; ++at) pattern_[lines.pixel(line, at)] += amount;
    }
    return true;
}

bool SensorPattern::addPixels(double noise, double frames) {
    const std::size_t area = common_.size();
    Buffer<float> rest(area), known(area), smooth(area);
    for (std::size_t q = 0; q < area; ++q) {
        known[q] = weight_[q] > 0.0f ? 1.0f : 0.0f;
        rest[q] = known[q] * (common_[q] - pattern_[q]);
    }
    boxMean(rest, known, width_, height_, kPixelRadius, smooth);
    std::vector<float> values;
    for (std::size_t q = 0; q < area; ++q) {
        rest[q] -= smooth[q];
        if (known[q] > 0.0f) values.push_back(rest[q]);
    }
    const double seen = varianceByMedian(values);
    const double explained = noise / frames;
    if (!(seen > kPixelEvidence * explained)) return false;
    const double own = seen - kPixelNoise * explained;
    for (std::size_t q = 0; q < area; ++q) {
        const double share = own / (own + noise / std::max(weight_[q], 0.5f));
        pattern_[q] += static_cast<float>(known[q] * share * rest[q]);
    }
    return true;
}

bool SensorPattern::update(const std::vector<FrameState>& all) {
    const double usual = medianScale(all);
    std::vector<FrameState> frames;
    std::copy_if(all.begin(), all.end(), std::back_inserter(frames),
                 [usual](const FrameState& frame) { return fitsUsually(frame, usual); });
    averageMisfit(frames);
    const double noise = noiseVariance(frames);
    const double used = static_cast<double>(frames.size());
    if (used < 2.0 || !(noise > 0.0)) return false;
    if (values_.size() != 0) {
        for (std::size_t q = 0; q < common_.size(); ++q) common_[q] += values_[q];
    }
    pattern_.assign(common_.size(), 0.0f);
    const bool columns = addLines(true, noise);
    const bool rows = addLines(false, noise);
    const bool pixels = addPixels(noise, used);
    if (!columns && !rows && !pixels) {
        values_ = Buffer<float>();
        return false;
    }
    values_ = Buffer<float>(common_.size());
    std::copy(pattern_.begin(), pattern_.end(), values_.begin());
    return true;
}

}  // namespace oravo::vision::detail::precise
