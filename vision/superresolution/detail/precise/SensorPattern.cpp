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

template <class Value>
double varianceByMedian(std::size_t count, const Value& value) {
    std::vector<float> work;
    const double sigma = kSigmaPerMedian * quantileOfMagnitudes(count, 0.5, value, work);
    return sigma * sigma;
}

}  // namespace

template <class Body>
void SensorPattern::forEachPixel(const Body& body) const {
    threads_.forEachRow(height_, [&](int y) {
        for (std::size_t q = areaOf(y, width_); q < areaOf(y + 1, width_); ++q) body(q);
    });
}

void SensorPattern::averageMisfit(const std::vector<FrameState>& frames) {
    common_.resize(areaOf(width_, height_));
    weight_.resize(common_.size());
    forEachPixel([&](std::size_t q) {
        float sum = 0.0f, weight = 0.0f;
        for (const FrameState& frame : frames) {
            if (!(frame.inside[q] > 0.0f)) continue;
            sum += frame.weight[q] * frame.misfit[q];
            weight += frame.weight[q];
        }
        common_[q] = weight > 0.0f ? sum / weight : sum;
        weight_[q] = weight;
    });
}

double SensorPattern::noiseVariance(const std::vector<FrameState>& frames) const {
    const double count = static_cast<double>(frames.size());
    if (count < 2.0) return 0.0;
    const auto scatter = [&](std::size_t i) -> std::optional<float> {
        const FrameState& frame = frames[i / common_.size()];
        const std::size_t q = i % common_.size();
        if (!(frame.inside[q] > 0.0f && frame.weight[q] > kTrusted)) return std::nullopt;
        return frame.misfit[q] - common_[q];
    };
    return varianceByMedian(frames.size() * common_.size(), scatter) * count / (count - 1.0);
}

std::vector<double> SensorPattern::lineLevels(const Lines& lines, double noise, double& explained) const {
    std::vector<double> levels(static_cast<std::size_t>(lines.count)), weights(levels);
    threads_.forRows(lines.count, [&](int first, int end, int) {
        std::vector<float> values;
        for (int line = first; line < end; ++line) {
            double& weight = weights[static_cast<std::size_t>(line)];
            values.clear();
            for (int at = 0; at < lines.length; ++at) {
                const std::size_t q = lines.pixel(line, at);
                if (!(weight_[q] > 0.0f)) continue;
                values.push_back(common_[q] - pattern_[q]);
                weight += weight_[q];
            }
            levels[static_cast<std::size_t>(line)] = medianOf(values);
        }
    });
    explained = 0.0;
    for (const double weight : weights) explained += weight > 0.0 ? kMedianLoss * noise / weight : 0.0;
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
    forEachPixel([&](std::size_t q) {
        known[q] = weight_[q] > 0.0f ? 1.0f : 0.0f;
        rest[q] = known[q] * (common_[q] - pattern_[q]);
    });
    boxMean(rest, known, width_, height_, kPixelRadius, smooth, threads_);
    forEachPixel([&](std::size_t q) { rest[q] -= smooth[q]; });
    const auto ofPixel = [&](std::size_t q) {
        return known[q] > 0.0f ? std::optional<float>(rest[q]) : std::nullopt;
    };
    const double seen = varianceByMedian(area, ofPixel);
    const double explained = noise / frames;
    if (!(seen > kPixelEvidence * explained)) return false;
    const double own = seen - kPixelNoise * explained;
    forEachPixel([&](std::size_t q) {
        const double share = own / (own + noise / std::max(weight_[q], 0.5f));
        pattern_[q] += static_cast<float>(known[q] * share * rest[q]);
    });
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
