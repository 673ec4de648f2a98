#include "tools/measure/Radiometry.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "tools/measure/Metrics.h"
#include "tools/simulate/Camera.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

constexpr int kSmoothed = 5;  // pixels of the frame, all of these
constexpr int kNeighbourhood = 9;
constexpr int kArea = 8;
constexpr double kFlat = 0.02;       // of the range
constexpr double kOutliers = 0.005;  // of the pixels at either end do not count for the range
constexpr std::size_t kFewestAreas = 4;

/// Mean and variance of numbers that come one by one.
struct Moments {
    double count = 0.0, sum = 0.0, squares = 0.0;

    void add(double value) {
        count += 1.0;
        sum += value;
        squares += value * value;
    }
    double mean() const { return sum / count; }
    double variance() const {
        return std::max(0.0, squares - sum * sum / count) / std::max(1.0, count - 1.0);
    }
    double errorOfMean() const { return std::sqrt(variance() / count); }
};

double rangeOf(const cv::Mat_<float>& image) {
    std::vector<float> values(image.begin(), image.end());
    const auto low = static_cast<double>(vision::detail::quantile(values, kOutliers));
    return static_cast<double>(vision::detail::quantile(values, 1.0 - kOutliers)) - low;
}

/// 255 where a pixel is flat and both hold a value.
cv::Mat_<uchar> flatPixels(const cv::Mat_<float>& seen, const cv::Mat_<float>& reference) {
    cv::Mat_<float> smooth, top, bottom;
    cv::blur(repaired(seen), smooth, {kSmoothed, kSmoothed});
    const cv::Mat window = cv::Mat::ones(kNeighbourhood, kNeighbourhood, CV_8U);
    cv::dilate(smooth, top, window);
    cv::erode(smooth, bottom, window);
    const cv::Mat flat = (top - bottom) < kFlat * rangeOf(smooth);
    return cv::Mat(flat & (valueMask(seen) != 0) & (valueMask(reference) != 0));
}

}  // namespace

cv::Mat_<float> seenByCamera(const cv::Mat_<float>& image, float psfSigma) {
    const Camera camera(static_cast<double>(psfSigma));
    // One more than its taps reach, since a frame's pixels lie between those of the image.
    const int margin = camera.reach() + 1;
    cv::Mat_<float> wide;
    cv::copyMakeBorder(repaired(image), wide, margin, margin, margin, margin, cv::BORDER_REPLICATE);
    const cv::Size size = image.size() / Camera::kFactor;
    cv::Mat_<float> seen = camera.frame(wide, size, cv::Point2d(margin + 0.5, margin + 0.5), {});
    // A pixel without a value was filled in from its neighbours, which spoils what lies within the blur of it.
    const int reach = Camera::kFactor * static_cast<int>(std::ceil(1.5 * static_cast<double>(psfSigma))) + 1;
    cv::Mat missing = valueMask(image) == 0;
    cv::dilate(missing, missing, cv::Mat::ones(2 * reach + 1, 2 * reach + 1, CV_8U));
    cv::resize(missing, missing, size, 0.0, 0.0, cv::INTER_NEAREST);
    seen.setTo(std::numeric_limits<float>::quiet_NaN(), missing);
    return seen;
}

std::optional<FlatBias> FlatBias::of(const cv::Mat_<float>& seen, const cv::Mat_<float>& reference) {
    const cv::Mat_<uchar> flat = flatPixels(seen, reference);
    Moments all, areas;
    FlatBias bias;
    for (int top = 0; top + kArea <= flat.rows; top += kArea) {
        for (int left = 0; left + kArea <= flat.cols; left += kArea) {
            Moments area;
            for (int y = top; y < top + kArea; ++y) {
                for (int x = left; x < left + kArea; ++x) {
                    if (flat(y, x) == 0) continue;
                    area.add(static_cast<double>(seen(y, x)) - static_cast<double>(reference(y, x)));
                }
            }
            if (2.0 * area.count < kArea * kArea) continue;
            areas.add(area.mean());
            all.count += area.count;
            all.sum += area.sum;
            if (std::abs(area.mean()) < std::abs(bias.worst)) continue;
            bias.worst = area.mean();
            bias.worstError = area.errorOfMean();
            bias.worstAt = {left + kArea / 2, top + kArea / 2};
        }
    }
    if (areas.count < static_cast<double>(kFewestAreas)) return std::nullopt;
    bias.pixels = static_cast<std::size_t>(all.count);
    bias.difference = all.mean();
    bias.error = areas.errorOfMean();
    return bias;
}

}  // namespace oravo::tools
