#include "vision/superresolution/detail/choice/SubpixelShift.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "vision/superresolution/detail/defects/StatusCodes.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::vision::detail {
namespace {

using Plane = cv::Mat_<double>;

constexpr int kSmallest = 16;  // pixels that have to overlap in each direction
constexpr double kMedianToDeviation = 1.0 / 0.6745;
constexpr int kMostColumns = 320;  // of a frame that take part
constexpr int kMostRows = 256;
constexpr int kReach = 5;              // pixels that a gradient is smoothed over
constexpr int kAttempts = 3;           // at finding the right whole pixels
constexpr double kHalf = 0.6;          // of a pixel, with a margin for the error of a remainder
constexpr double kOutlier = 3.0;       // deviations
constexpr double kLeastDetail = 0.05;  // of sum h g, once noise is deducted

/// sum over the taps of h and g, which is what noise of variance 1 adds to the mean of h g.
constexpr double kNoiseInGradients = 0.125;

/// The values of a part of a frame. Pixels without a value get the mean, and are marked as missing.
Plane valuesOf(const cv::Mat_<float>& frame, cv::Mat_<uchar>& missing) {
    cv::Mat_<uchar> holes(frame.size(), uchar{0});
    std::transform(frame.begin(), frame.end(), holes.begin(), [](float value) {
        return static_cast<uchar>(std::isfinite(value) && !isStatusCode(value) ? 0 : 1);
    });
    Plane values;
    frame.convertTo(values, CV_64F);
    values.setTo(cv::mean(frame, holes == 0), holes);
    missing |= holes;
    return values;
}

/// The middle of an area, just large enough to find a remainder to hundredths of a pixel.
cv::Rect middleOf(cv::Rect area) {
    const cv::Size size(std::min(area.width, kMostColumns), std::min(area.height, kMostRows));
    return {area.x + (area.width - size.width) / 2, area.y + (area.height - size.height) / 2, size.width,
            size.height};
}

/// The equations of a remainder: what its least squares need of two frames.
struct Equations {
    Plane difference, gx, gy, hx, hy;
    cv::Mat_<uchar> missing;  // pixels that do not count
};

Equations equationsOf(const Plane& reference, const Plane& frame) {
    const Plane central = (Plane(1, 3) << -0.5, 0.0, 0.5), one(1, 1, 1.0);
    const Plane binomial = (Plane(1, 3) << 0.25, 0.5, 0.25);
    Equations e;
    cv::subtract(frame, reference, e.difference);
    cv::subtract(e.difference, cv::mean(e.difference), e.difference);
    Plane mean;
    cv::addWeighted(frame, 0.5, reference, 0.5, 0.0, mean);
    cv::sepFilter2D(mean, e.gx, CV_64F, central, one);
    cv::sepFilter2D(mean, e.gy, CV_64F, one, central);
    cv::sepFilter2D(e.gx, e.hx, CV_64F, binomial, binomial);
    cv::sepFilter2D(e.gy, e.hy, CV_64F, binomial, binomial);
    return e;
}

Plane unexplained(const Equations& e, cv::Point2d remainder) {
    Plane residual;
    cv::scaleAdd(e.gx, remainder.x, e.difference, residual);
    cv::scaleAdd(e.gy, remainder.y, residual, residual);
    return residual;
}

double deviationOf(const Plane& residual) {
    std::vector<double> magnitudes;
    for (const double value : residual) magnitudes.push_back(std::abs(value));
    return kMedianToDeviation * upperMedian(std::move(magnitudes));
}

cv::Matx22d outer(const Plane& ax, const Plane& ay, const Plane& bx, const Plane& by) {
    return {ax.dot(bx), ax.dot(by), ay.dot(bx), ay.dot(by)};
}

/// @param residual    of an earlier remainder
/// @param deviations  pixels whose residual exceeds this many standard deviations do not count
std::optional<SubpixelShift> solved(Equations e, const Plane& residual, double deviations) {
    const double deviation = deviationOf(residual);
    const cv::Mat beyond = (cv::abs(residual) > deviations * deviation) | e.missing;
    for (Plane* plane : {&e.difference, &e.hx, &e.hy}) {
        *plane = plane->clone();
        plane->setTo(0.0, beyond);
    }
    cv::Matx22d normal = outer(e.hx, e.hy, e.gx, e.gy);
    // The difference has the noise of both frames, their mean a quarter of its variance.
    const double noise =
        kNoiseInGradients * 0.25 * deviation * deviation * static_cast<double>(residual.total());
    for (int i = 0; i < 2; ++i) {
        const double all = normal(i, i);
        normal(i, i) -= noise;
        if (!(normal(i, i) > kLeastDetail * all)) return std::nullopt;
    }
    bool regular = false;
    const cv::Matx22d inverse = normal.inv(cv::DECOMP_LU, &regular);
    if (!regular) return std::nullopt;
    const cv::Vec2d found = inverse * cv::Vec2d(-e.hx.dot(e.difference), -e.hy.dot(e.difference));
    const cv::Matx22d covariance =
        inverse * outer(e.hx, e.hy, e.hx, e.hy) * inverse.t() * (deviation * deviation);
    return SubpixelShift{{found[0], found[1]}, {std::sqrt(covariance(0, 0)), std::sqrt(covariance(1, 1))}};
}

std::optional<SubpixelShift> beyond(cv::Point whole, const cv::Mat_<float>& reference,
                                    const cv::Mat_<float>& frame) {
    const cv::Rect all({}, reference.size());
    const cv::Rect there = all & (all + whole);
    if (std::min(there.width, there.height) < kSmallest) return std::nullopt;
    const cv::Rect part = middleOf(there);
    cv::Mat_<uchar> missing(part.size(), uchar{0});
    const Plane here = valuesOf(reference(part - whole), missing);
    const Plane moved = valuesOf(frame(part), missing);
    Equations equations = equationsOf(here, moved);
    cv::dilate(missing * 255, equations.missing, cv::Mat::ones(kReach, kReach, CV_8U));
    const std::optional<SubpixelShift> first = solved(equations, equations.difference, HUGE_VAL);
    return first ? solved(equations, unexplained(equations, first->remainder), kOutlier) : std::nullopt;
}

}  // namespace

std::optional<SubpixelShift> SubpixelShift::of(const cv::Mat_<float>& reference, const cv::Mat_<float>& frame,
                                               cv::Point2f shift) {
    const auto side = static_cast<double>(std::max(reference.rows, reference.cols));
    cv::Point2d near = shift;
    std::optional<SubpixelShift> found;
    for (int i = 0; i < kAttempts; ++i) {
        if (!(std::abs(near.x) < side && std::abs(near.y) < side)) return std::nullopt;
        const cv::Point whole(cvRound(near.x), cvRound(near.y));
        found = beyond(whole, reference, frame);
        if (!found || std::max(std::abs(found->remainder.x), std::abs(found->remainder.y)) <= kHalf) break;
        near = cv::Point2d(whole) + found->remainder;
    }
    return found;
}

}  // namespace oravo::vision::detail
