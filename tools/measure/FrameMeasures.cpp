#include "tools/measure/FrameMeasures.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

constexpr double kMedianToDeviation = 1.0 / 0.6745;  // of a normal distribution's magnitudes

/// Of the numbers: where values near the largest float overflow, some are none. 0 where there are no others.
double median(std::vector<float> values) {
    values.erase(std::remove_if(values.begin(), values.end(), [](float v) { return std::isnan(v); }),
                 values.end());
    return static_cast<double>(vision::detail::upperMedian(std::move(values)));
}

cv::Mat_<float> difference(const cv::Mat_<float>& a, const cv::Mat_<float>& b) {
    cv::Mat_<float> result;
    cv::subtract(a, b, result);
    return result;
}

template <class T>
cv::Mat_<T> transposed(const cv::Mat_<T>& image) {
    cv::Mat_<T> result;
    cv::transpose(image, result);
    return result;
}

cv::Mat_<float> middleBand(const cv::Mat_<float>& frame) {
    const cv::Mat_<float> binomial = (cv::Mat_<float>(1, 3) << 0.25f, 0.5f, 0.25f);
    cv::Mat_<float> smooth, level;
    cv::sepFilter2D(frame, smooth, CV_32F, binomial, binomial, {-1, -1}, 0.0, cv::BORDER_REFLECT_101);
    cv::blur(smooth, level, cv::Size(9, 9), {-1, -1}, cv::BORDER_REFLECT_101);
    return difference(smooth, level);
}

/// The share of the variance of independent noise that the smoothing lets through.
constexpr double kSmoothedNoise = 0.375 * 0.375;

/// Summed in double precision, so that no value is too large to be squared.
double meanSquare(const cv::Mat_<float>& image) {
    return cv::norm(image, cv::NORM_L2SQR) / static_cast<double>(image.total());
}

/// What to multiply a frame by before its spectrum is squared in single precision, where values from 1e9 on overflow;
/// 1 for all usual ones.
double spectralScale(const cv::Mat_<float>& frame) {
    constexpr double kHarmless = 65536.0;
    return kHarmless / std::max(kHarmless, cv::norm(frame, cv::NORM_INF));
}

/// Mean power between two frequencies along the columns' axis, in cycles per pixel, at low ones along the
/// other.
double bandPower(const cv::Mat_<cv::Vec2f>& spectrum, double low, double high) {
    double sum = 0.0;
    int count = 0;
    for (int y = 0; y < spectrum.rows; ++y) {
        const double fy = static_cast<double>(std::min(y, spectrum.rows - y)) / spectrum.rows;
        if (fy >= 0.2) continue;
        for (int x = 0; 2 * x <= spectrum.cols; ++x) {
            const double fx = static_cast<double>(x) / spectrum.cols;
            if (fx <= low || fx >= high) continue;
            sum += cv::norm(spectrum(y, x), cv::NORM_L2SQR);
            ++count;
        }
    }
    return sum / std::max(count, 1);
}

/// Of the frame times spectralScale(), without its mean, through a window that fades towards the borders.
cv::Mat_<cv::Vec2f> windowedSpectrum(const cv::Mat_<float>& frame) {
    cv::Mat_<float> window, levelled;
    cv::createHanningWindow(window, frame.size(), CV_32F);
    cv::subtract(frame, cv::mean(frame), levelled);
    cv::multiply(levelled, window, levelled, spectralScale(frame));
    cv::Mat_<cv::Vec2f> spectrum;
    cv::dft(levelled, spectrum, cv::DFT_COMPLEX_OUTPUT);
    return spectrum;
}

/// Median power where both frequencies are above one, in cycles per pixel: few scenes reach there.
double cornerPower(const cv::Mat_<cv::Vec2f>& spectrum, double above) {
    std::vector<float> powers;
    for (int y = 0; y < spectrum.rows; ++y) {
        if (static_cast<double>(std::min(y, spectrum.rows - y)) / spectrum.rows <= above) continue;
        for (int x = 0; 2 * x <= spectrum.cols; ++x) {
            if (static_cast<double>(x) / spectrum.cols <= above) continue;
            powers.push_back(static_cast<float>(cv::norm(spectrum(y, x), cv::NORM_L2SQR)));
        }
    }
    return median(powers);
}

/// Standard deviation of the rounding of the values, from the smallest step between two of them.
double roundingOf(const cv::Mat_<float>& frame) {
    std::vector<float> values(frame.begin(), frame.end());
    std::sort(values.begin(), values.end());
    double step = HUGE_VAL;
    for (std::size_t i = 1; i < values.size(); ++i) {
        const double apart = static_cast<double>(values[i]) - static_cast<double>(values[i - 1]);
        if (apart > 0.0) step = std::min(step, apart);
    }
    constexpr double kFloat =
        1e-6;  // of the largest value: what single precision and interpolation by it leave
    return std::max(step / std::sqrt(12.0), kFloat * cv::norm(frame, cv::NORM_INF));
}

double fineDetailAlong(const cv::Mat_<cv::Vec2f>& spectrum) {
    const double coarse = bandPower(spectrum, 0.1, 0.2);
    return coarse > 0.0 ? 10.0 * std::log10(bandPower(spectrum, 0.3, 0.45) / coarse + 1e-12) : 0.0;
}

/// Sums of squared differences between neighbours in x: within pairs (2 i, 2 i + 1), and between them.
std::pair<double, double> pairDifferences(const cv::Mat_<float>& frame) {
    const int even = frame.cols / 2 * 2;
    double within = 0.0, between = 0.0;
    for (int y = 0; y < frame.rows; ++y) {
        for (int x = 0; x + 1 < even; ++x) {
            const double step = static_cast<double>(frame(y, x + 1)) - static_cast<double>(frame(y, x));
            (x % 2 == 0 ? within : between) += step * step;
        }
    }
    return {within, between};
}

}  // namespace

double contrastOf(const cv::Mat_<float>& frame) {
    cv::Scalar mean, deviation;
    cv::meanStdDev(frame, mean, deviation);
    return deviation[0];
}

double noiseOf(const cv::Mat_<float>& frame) {
    if (frame.rows < 3 || frame.cols < 3) return 0.0;
    const cv::Mat_<float> second = (cv::Mat_<float>(1, 3) << 1.0f, -2.0f, 1.0f);
    cv::Mat_<float> both;
    cv::sepFilter2D(frame, both, CV_32F, second, second);
    std::vector<float> magnitudes;
    for (int y = 1; y + 1 < both.rows; ++y) {
        for (int x = 1; x + 1 < both.cols; ++x) magnitudes.push_back(std::abs(both(y, x)) / 6.0f);
    }
    return median(magnitudes) * kMedianToDeviation;
}

cv::Point2d displacementBetween(const cv::Mat_<float>& before, const cv::Mat_<float>& after) {
    const double scale = std::min(spectralScale(before), spectralScale(after));
    cv::Mat_<float> window, a, b;
    cv::createHanningWindow(window, before.size(), CV_32F);
    // Copies, since the correlation applies its window in place where no padding is needed.
    before.convertTo(a, CV_32F, scale);
    after.convertTo(b, CV_32F, scale);
    return cv::phaseCorrelate(a, b, window);
}

double levelStep(const cv::Mat_<float>& before, const cv::Mat_<float>& after, double negligible) {
    if (std::abs(cv::mean(after)[0] - cv::mean(before)[0]) < negligible) return 0.0;
    const cv::Point2d moved = displacementBetween(before, after);
    if (misfit(FrameDetail(before), FrameDetail(after), cv::Point2f(moved)) > kMisfit) return 0.0;
    const cv::Rect whole({}, before.size());
    const cv::Point shift(cvRound(moved.x), cvRound(moved.y));
    const cv::Rect there = whole & (whole + shift);
    const cv::Mat_<float> step = difference(after(there), before(there - shift));
    return median({step.begin(), step.end()});
}

bool sameValues(const cv::Mat_<float>& a, const cv::Mat_<float>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

double fineDetail(const cv::Mat_<float>& frame) {
    const cv::Mat_<cv::Vec2f> spectrum = windowedSpectrum(frame);
    return std::max(fineDetailAlong(spectrum), fineDetailAlong(transposed(spectrum)));
}

bool hasNoiseFloor(const cv::Mat_<float>& frame) {
    constexpr double kCorner = 0.3, kTop = 0.42;  // cycles per pixel
    constexpr double kWhite = 0.25;               // of the power in the corner that is left at its top
    constexpr double kBeyondRounding = 2.0;
    constexpr double kAlike = 1.5;                  // factor between what two ways find of white noise
    constexpr double kMedianToMean = 1.0 / 0.6931;  // of a power, which is distributed exponentially
    constexpr double kWindowPower = 0.375 * 0.375;  // mean square of the window
    const cv::Mat_<cv::Vec2f> spectrum = windowedSpectrum(frame);
    const double top = cornerPower(spectrum, kTop);
    if (!(top > kWhite * cornerPower(spectrum, kCorner))) return false;
    const double floor =
        std::sqrt(kMedianToMean * top / (kWindowPower * static_cast<double>(frame.total()))) /
        spectralScale(frame);
    const double noise = noiseOf(frame);
    return floor > noise / kAlike && floor < noise * kAlike && floor > kBeyondRounding * roundingOf(frame);
}

bool hasDoubledPixels(const cv::Mat_<float>& frame) {
    constexpr double kNoDifference = 1e-3;
    const auto doubled = [](std::pair<double, double> differences) {
        return differences.second > 0.0 && differences.first < kNoDifference * differences.second;
    };
    return doubled(pairDifferences(frame)) && doubled(pairDifferences(transposed(frame)));
}

FrameDetail::FrameDetail(const cv::Mat_<float>& frame)
    : band(middleBand(frame)), noise(noiseOf(frame)), contrast(contrastOf(frame)) {
}

double misfit(const FrameDetail& reference, const FrameDetail& frame, cv::Point2f shift) {
    const cv::Size size = frame.band.size();
    // A shift that is no number, as where nothing could be aligned, fails this comparison, too.
    const bool overlap = std::abs(shift.x) < static_cast<float>(size.width) &&
                         std::abs(shift.y) < static_cast<float>(size.height);
    if (!overlap) return 1.0;
    const cv::Matx23f toFrame(1.0f, 0.0f, shift.x, 0.0f, 1.0f, shift.y);
    cv::Mat_<float> moved;
    cv::warpAffine(frame.band, moved, toFrame, size, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
    const cv::Rect inside = cv::Rect({}, size) & cv::Rect(cv::Point(static_cast<int>(std::ceil(-shift.x)),
                                                                    static_cast<int>(std::ceil(-shift.y))),
                                                          size - cv::Size(1, 1));
    if (inside.area() == 0) return 1.0;
    const cv::Mat_<float> there = moved(inside);
    const cv::Mat_<float> here = reference.band(inside);
    const cv::Mat_<float> apart = difference(there, here);
    const double noise = kSmoothedNoise * (std::pow(reference.noise, 2) + std::pow(frame.noise, 2));
    const double detail = meanSquare(here) + meanSquare(there) - noise;
    if (!(detail > noise)) return 0.0;
    const double share = (meanSquare(apart) - noise) / detail;
    return std::isnan(share) ? 1.0 : share;  // differences beyond the largest float
}

}  // namespace oravo::tools
