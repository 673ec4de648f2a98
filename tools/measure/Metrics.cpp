#include "tools/measure/Metrics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

using Image = cv::Mat_<double>;

Image localMean(const cv::Mat& image) {
    Image result;
    cv::GaussianBlur(image, result, cv::Size(11, 11), 1.5, 1.5, cv::BORDER_REFLECT_101);
    return result;
}

constexpr double kRounding = 1e-12;  // of squares, in local means of them

double meanSsim(const Image& a, const Image& b, const cv::Mat_<uchar>& mask, double range) {
    const double c1 = std::pow(0.01 * range, 2);
    const double c2 = std::pow(0.03 * range, 2);
    const Image meanA = localMean(a);
    const Image meanB = localMean(b);
    const Image squareA = localMean(a.mul(a));
    const Image squareB = localMean(b.mul(b));
    const Image product = localMean(a.mul(b));
    double sum = 0.0;
    for (int r = 0; r < a.rows; ++r) {
        for (int c = 0; c < a.cols; ++c) {
            if (mask(r, c) == 0) continue;
            const double ma = meanA(r, c);
            const double mb = meanB(r, c);
            const double covariance = product(r, c) - ma * mb;
            const double variances = squareA(r, c) - ma * ma + squareB(r, c) - mb * mb;
            const double squares = ma * ma + mb * mb;
            // A constant truth has no range, and so no constants: flat windows would be 0 / 0, up to rounding.
            const bool flat = range == 0.0 && variances <= kRounding * squares;
            const double structure = flat ? 1.0 : (2.0 * covariance + c2) / (variances + c2);
            const double level = squares + c1 == 0.0 ? 1.0 : (2.0 * ma * mb + c1) / (squares + c1);
            sum += level * structure;
        }
    }
    return sum / cv::countNonZero(mask);
}

double rmsWithin(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, const cv::Mat& region) {
    const int count = cv::countNonZero(region);
    return cv::norm(image, truth, cv::NORM_L2, region) / std::sqrt(static_cast<double>(count));
}

/// The value below which this share of the pixels lies.
double quantileWithin(const cv::Mat_<uchar>& mask, const cv::Mat_<float>& image, double share) {
    std::vector<float> values;
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            if (mask(y, x) != 0) values.push_back(image(y, x));
        }
    }
    return static_cast<double>(vision::detail::quantile(values, share));
}

}  // namespace

cv::Mat_<uchar> valueMask(const cv::Mat_<float>& image) {
    cv::Mat_<uchar> mask(image.size());
    std::transform(image.begin(), image.end(), mask.begin(),
                   [](float v) { return static_cast<uchar>(isValue(v) ? 1 : 0); });
    return mask;
}

int countWithoutValue(const cv::Mat_<float>& image) {
    return static_cast<int>(image.total()) - cv::countNonZero(valueMask(image));
}

Quality compareWithTruth(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int crop) {
    if (image.size() != truth.size()) {
        throw inputError(format("the image is %d x %d pixels, but the truth is %d x %d", image.cols,
                                image.rows, truth.cols, truth.rows));
    }
    if (2LL * crop >= std::min(image.cols, image.rows)) {
        throw inputError(
            format("a crop of %d pixels leaves nothing of %d x %d", crop, image.cols, image.rows));
    }
    const cv::Rect inner(crop, crop, image.cols - 2 * crop, image.rows - 2 * crop);
    cv::Mat_<uchar> mask;
    cv::bitwise_and(valueMask(image(inner)), valueMask(truth(inner)), mask);
    Quality quality;
    quality.compared = cv::countNonZero(mask);
    quality.leftOut = static_cast<long long>(inner.area()) - quality.compared;
    if (quality.compared == 0) throw inputError("no pixel holds a value in both the image and the truth");

    double lowest = 0.0;
    double highest = 0.0;
    cv::minMaxLoc(truth(inner), &lowest, &highest, nullptr, nullptr, mask);
    Image a(inner.size(), 0.5 * (lowest + highest));
    Image b = a.clone();
    cv::Mat(image(inner)).convertTo(a, CV_64F);
    cv::Mat(truth(inner)).convertTo(b, CV_64F);
    a.setTo(0.5 * (lowest + highest), mask == 0);
    b.setTo(0.5 * (lowest + highest), mask == 0);

    quality.rmse = cv::norm(a, b, cv::NORM_L2) / std::sqrt(static_cast<double>(quality.compared));
    quality.psnr = quality.rmse == 0.0 ? std::numeric_limits<double>::infinity()
                                       : 20.0 * std::log10((highest - lowest) / quality.rmse);
    quality.ssim = meanSsim(a, b, mask, highest - lowest);
    return quality;
}

RegionErrors regionErrors(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int crop) {
    constexpr double kFlat = 0.02;
    constexpr double kExtreme = 0.01;
    const cv::Rect inner(crop, crop, image.cols - 2 * crop, image.rows - 2 * crop);
    const cv::Mat_<float> ours = repaired(image)(inner);
    const cv::Mat_<float> sharp = repaired(truth)(inner);
    cv::Mat_<uchar> mask;
    cv::bitwise_and(valueMask(image(inner)), valueMask(truth(inner)), mask);
    double lowest = 0.0, highest = 0.0;
    cv::minMaxLoc(sharp, &lowest, &highest, nullptr, nullptr, mask);
    const cv::Mat window = cv::Mat::ones(9, 9, CV_8U);
    cv::Mat_<float> top, bottom;
    cv::dilate(sharp, top, window);
    cv::erode(sharp, bottom, window);
    const auto within = [&](const cv::Mat& region) { return rmsWithin(ours, sharp, region & mask); };
    RegionErrors errors;
    errors.flat = within((top - bottom) < kFlat * (highest - lowest));
    errors.hot = within(sharp >= quantileWithin(mask, sharp, 1.0 - kExtreme));
    errors.cold = within(sharp <= quantileWithin(mask, sharp, kExtreme));
    return errors;
}

cv::Mat_<float> repaired(const cv::Mat_<float>& frame) {
    const cv::Mat_<uchar> mask = valueMask(frame);
    cv::Mat_<float> result = frame.clone();
    if (cv::countNonZero(mask) == static_cast<int>(frame.total())) return result;
    const double mean = cv::mean(frame, mask)[0];
    for (int r = 0; r < frame.rows; ++r) {
        for (int c = 0; c < frame.cols; ++c) {
            if (mask(r, c) != 0) continue;
            const cv::Rect around = cv::Rect(c - 1, r - 1, 3, 3) & cv::Rect(cv::Point(), frame.size());
            const bool any = cv::countNonZero(mask(around)) > 0;
            result(r, c) = static_cast<float>(any ? cv::mean(frame(around), mask(around))[0] : mean);
        }
    }
    return result;
}

cv::Mat_<float> bicubic(const cv::Mat_<float>& frame, cv::Size size) {
    cv::Mat_<float> result;
    cv::resize(frame, result, size, 0.0, 0.0, cv::INTER_CUBIC);
    return result;
}

}  // namespace oravo::tools
