#include "tools/defects/LocalSearch.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

using vision::detail::upperMedian;

constexpr std::size_t kMostFrames = 64;  // that are looked at, spread over the recording
constexpr float kSigmaPerMedian = 1.4826f;
constexpr float kFarOff = 10.0f;   // standard deviations from the neighbours' median
constexpr float kRanges = 3.0f;    // of the neighbours, the two most extreme ones left out, besides
constexpr float kRestless = 5.0f;  // times the neighbours' change from frame to frame
constexpr float kNoisy = 5.0f;     // and times that of the usual pixel
constexpr double kMost = 0.02;     // of all pixels

/// Means and standard deviations over time, of the frames in which a pixel has a value; NaN without any.
struct Moments {
    explicit Moments(const FrameSequence& frames) {
        const std::size_t step = (frames.count + kMostFrames - 1) / kMostFrames;
        cv::Mat_<double> sum, squares, number;
        cv::Mat_<float> first;
        for (std::size_t i = 0; i < frames.count; i += step) {
            const cv::Mat_<float> frame = frames.read(i);
            if (sum.empty()) {
                for (cv::Mat_<double>* m : {&sum, &squares, &number})
                    *m = cv::Mat_<double>(frame.size(), 0.0);
                first = frame.clone();
            }
            for (int y = 0; y < frame.rows; ++y) {
                for (int x = 0; x < frame.cols; ++x) {
                    if (!std::isfinite(frame(y, x))) continue;
                    if (!std::isfinite(first(y, x))) first(y, x) = frame(y, x);
                    // Against the first value, whose size would swallow small changes.
                    const double change = static_cast<double>(frame(y, x)) - static_cast<double>(first(y, x));
                    sum(y, x) += change;
                    squares(y, x) += change * change;
                    number(y, x) += 1.0;
                }
            }
        }
        mean.create(sum.size());
        deviation.create(sum.size());
        for (int y = 0; y < sum.rows; ++y) {
            for (int x = 0; x < sum.cols; ++x) {
                const double n = number(y, x), own = sum(y, x) / n;  // NaN without frames
                mean(y, x) = static_cast<float>(own + static_cast<double>(first(y, x)));
                deviation(y, x) = static_cast<float>(std::sqrt(std::max(0.0, squares(y, x) / n - own * own)));
            }
        }
    }
    cv::Mat_<float> mean, deviation;
};

/// The neighbours of a pixel in order; those without a value are left out.
struct Neighbours {
    Neighbours(const cv::Mat_<float>& image, int y, int x) {
        for (int j = std::max(0, y - 1); j <= std::min(image.rows - 1, y + 1); ++j) {
            for (int i = std::max(0, x - 1); i <= std::min(image.cols - 1, x + 1); ++i) {
                if ((j != y || i != x) && std::isfinite(image(j, i))) values[count++] = image(j, i);
            }
        }
        std::sort(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(count));
    }
    float median() const { return 0.5f * (values[(count - 1) / 2] + values[count / 2]); }
    /// Without the lowest and the highest, which may be bad themselves.
    float range() const { return count > 2 ? values[count - 2] - values[1] : 0.0f; }

    std::array<float, 8> values{};
    std::size_t count = 0;
};

}  // namespace

std::vector<cv::Point> findByNeighbours(const FrameSequence& frames) {
    constexpr std::size_t kFewest = 3;  // neighbours
    const Moments moments(frames);
    const cv::Mat_<float>& mean = moments.mean;
    std::vector<float> differences, deviations;
    for (int y = 0; y < mean.rows; ++y) {
        for (int x = 0; x < mean.cols; ++x) {
            const Neighbours around(mean, y, x);
            if (!std::isfinite(mean(y, x)) || around.count < kFewest) continue;
            differences.push_back(std::abs(mean(y, x) - around.median()));
            deviations.push_back(moments.deviation(y, x));
        }
    }
    const float noise = kSigmaPerMedian * upperMedian(differences), usual = upperMedian(deviations);
    std::vector<cv::Point> found;
    for (int y = 0; y < mean.rows; ++y) {
        for (int x = 0; x < mean.cols; ++x) {
            const Neighbours around(mean, y, x), restless(moments.deviation, y, x);
            if (!std::isfinite(mean(y, x)) || around.count < kFewest) continue;
            const bool standsOut =
                std::abs(mean(y, x) - around.median()) > kFarOff * noise + kRanges * around.range();
            const float own = moments.deviation(y, x);
            const bool flickers = own > kNoisy * usual && own > kRestless * restless.median() && usual > 0.0f;
            if (standsOut || flickers) found.emplace_back(x, y);
        }
    }
    const double most = kMost * static_cast<double>(mean.total());
    return static_cast<double>(found.size()) > most ? std::vector<cv::Point>() : found;
}

}  // namespace oravo::tools
