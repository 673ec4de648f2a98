#include "tools/measure/Agreement.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "tools/measure/Metrics.h"
#include "tools/measure/SensorModel.h"
#include "tools/values/Decode.h"

namespace oravo::tools {
namespace {

constexpr int kPooled = 5;

/// Running sums over the frames at each pixel of the reference grid.
struct Residuals {
    explicit Residuals(cv::Size size) : count(size, 0.0), sum(size, 0.0), squares(size, 0.0) {}

    void add(cv::Point p, double residual) {
        count(p) += 1.0;
        sum(p) += residual;
        squares(p) += residual * residual;
    }

    cv::Mat_<double> count;
    cv::Mat_<double> sum;
    cv::Mat_<double> squares;
};

template <class Pixel>
cv::Mat_<Pixel> doubled(const cv::Mat_<Pixel>& image) {
    cv::Mat_<Pixel> result;
    cv::resize(image, result, image.size() * SensorModel::kFactor, 0.0, 0.0, cv::INTER_NEAREST);
    return result;
}

/// The part of the frame within the reference grid where the mask holds and the frame has values.
void addFrame(const cv::Mat_<float>& frame, cv::Point whole, const cv::Mat_<uchar>& mask,
              const cv::Mat_<float>& expected, Residuals& residuals) {
    for (int y = std::max(0, -whole.y); y < std::min(frame.rows, frame.rows - whole.y); ++y) {
        for (int x = std::max(0, -whole.x); x < std::min(frame.cols, frame.cols - whole.x); ++x) {
            const float value = frame(y + whole.y, x + whole.x);
            if (mask(y, x) == 0 || !isValue(value)) continue;
            residuals.add({x, y}, static_cast<double>(value) - static_cast<double>(expected(y, x)));
        }
    }
}

cv::Mat_<double> pooled(const cv::Mat_<double>& image) {
    cv::Mat_<double> sums;
    cv::boxFilter(image, sums, CV_64F, {kPooled, kPooled}, {-1, -1}, false, cv::BORDER_CONSTANT);
    return sums;
}

}  // namespace

cv::Mat_<uchar> coverageOf(const std::vector<cv::Mat_<uchar>>& masks) {
    cv::Mat_<uchar> sum(masks.front().size(), uchar{0});
    for (const cv::Mat_<uchar>& mask : masks) sum += mask;
    return doubled(sum);
}

double validShare(const cv::Mat_<uchar>& mask) {
    return static_cast<double>(cv::countNonZero(mask)) / static_cast<double>(mask.total());
}

cv::Mat_<float> noiseMapOf(const AlignedFrames& aligned, const cv::Mat_<float>& image, float psfSigma) {
    const cv::Size size = aligned.frames.front().size();
    const cv::Mat_<uchar> everywhere(size, uchar{1});
    SensorModel model(size, psfSigma);
    cv::Mat_<float> seen;
    cv::copyMakeBorder(repaired(image), seen, SensorModel::kMarginBefore, SensorModel::kMarginAfter,
                       SensorModel::kMarginBefore, SensorModel::kMarginAfter, cv::BORDER_REPLICATE);
    Residuals residuals(size);
    for (std::size_t k = 0; k < aligned.frames.size(); ++k) {
        const cv::Point whole = SensorModel::wholePixels(aligned.shifts[k]);
        const cv::Mat_<float> expected = model.frame(seen, aligned.shifts[k] - cv::Point2f(whole));
        addFrame(aligned.frames[k], whole, aligned.masks.empty() ? everywhere : aligned.masks[k], expected,
                 residuals);
    }
    cv::Mat_<double> scatter(size, 0.0);
    cv::Mat_<double> freedom(size, 0.0);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const double n = residuals.count(y, x);
            if (n < 2.0) continue;
            scatter(y, x) = residuals.squares(y, x) - residuals.sum(y, x) * residuals.sum(y, x) / n;
            freedom(y, x) = n - 1.0;
        }
    }
    const cv::Mat_<double> scatterAround = pooled(scatter);
    const cv::Mat_<double> freedomAround = pooled(freedom);
    cv::Mat_<float> noise(size);
    std::transform(scatterAround.begin(), scatterAround.end(), freedomAround.begin(), noise.begin(),
                   [](double sum, double n) {
                       return n < 0.5 ? std::numeric_limits<float>::quiet_NaN()
                                      : static_cast<float>(std::sqrt(std::max(sum, 0.0) / n));
                   });
    return doubled(noise);
}

}  // namespace oravo::tools
