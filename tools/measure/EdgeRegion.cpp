#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tools/measure/EdgeFit.h"
#include "tools/measure/Metrics.h"

namespace oravo::tools {
namespace {

constexpr double kSmoothing = 1.0;  // pixels, before gradients are taken
constexpr int kBinsPerPixel = 2;
constexpr double kNear = 4.0;  // pixels from the line within which gradients determine it

class Gradients {
  public:
    explicit Gradients(const cv::Mat_<float>& values) {
        cv::Mat_<float> smooth;
        cv::GaussianBlur(repaired(values), smooth, {}, kSmoothing, kSmoothing, cv::BORDER_REPLICATE);
        // The outermost pixels have no neighbours to see an edge by.
        cv::Sobel(smooth, x, CV_32F, 1, 0, 3, 0.125, 0.0, cv::BORDER_REPLICATE);
        cv::Sobel(smooth, y, CV_32F, 0, 1, 3, 0.125, 0.0, cv::BORDER_REPLICATE);
    }

    void transpose() {
        cv::transpose(x, x);
        cv::transpose(y, y);
        cv::swap(x, y);
    }

    cv::Mat_<float> x, y;
};

/// The tensor of the gradients' second moments.
struct Moments {
    explicit Moments(const Gradients& g) {
        for (int y = 0; y < g.x.rows; ++y) {
            for (int x = 0; x < g.x.cols; ++x) {
                const double gx = static_cast<double>(g.x(y, x)), gy = static_cast<double>(g.y(y, x));
                xx += gx * gx;
                xy += gx * gy;
                yy += gy * gy;
            }
        }
    }

    /// The direction in which most gradients point, as an angle against the x axis.
    double direction() const { return 0.5 * std::atan2(2.0 * xy, xx - yy); }

    double xx = 0.0, xy = 0.0, yy = 0.0;
};

/// Where most of the gradient lies along x, for a line of slope dx/dy, from the region's centre.
double strongestOffset(const Gradients& g, double slope) {
    const int half = g.x.cols + g.x.rows;
    std::vector<double> bins(static_cast<std::size_t>(2 * half * kBinsPerPixel + 3));
    for (int y = 1; y + 1 < g.x.rows; ++y) {
        for (int x = 1; x + 1 < g.x.cols; ++x) {
            const double offset = x - 0.5 * (g.x.cols - 1) - slope * (y - 0.5 * (g.x.rows - 1));
            bins[static_cast<std::size_t>(std::lround((offset + half) * kBinsPerPixel)) + 1] +=
                static_cast<double>(g.x(y, x)) - slope * static_cast<double>(g.y(y, x));
        }
    }
    std::size_t best = 1;
    const auto around = [&](std::size_t i) { return std::abs(bins[i - 1] + bins[i] + bins[i + 1]); };
    for (std::size_t i = 1; i + 1 < bins.size(); ++i) {
        if (around(i) > around(best)) best = i;
    }
    return static_cast<double>(best - 1) / kBinsPerPixel - half;
}

/// The weighted least squares line through gradients near a line, weights being their squares.
void straighten(const Gradients& g, double& offset, double& slope) {
    double n = 0.0, sy = 0.0, syy = 0.0, sx = 0.0, sxy = 0.0;
    for (int row = 1; row + 1 < g.x.rows; ++row) {
        for (int column = 1; column + 1 < g.x.cols; ++column) {
            const double x = column - 0.5 * (g.x.cols - 1), y = row - 0.5 * (g.x.rows - 1);
            if (std::abs(x - offset - slope * y) > kNear) continue;
            const double strength = static_cast<double>(g.x(row, column));
            const double weight = strength * strength;
            n += weight;
            sx += weight * x;
            sy += weight * y;
            sxy += weight * x * y;
            syy += weight * y * y;
        }
    }
    const double determinant = n * syy - sy * sy;
    if (!(determinant > 0.0)) return;
    slope = (n * sxy - sx * sy) / determinant;
    offset = (sx - slope * sy) / n;
}

/// The finite pixels at a place, from whose centre x and y count; exchanged where the edge runs along the rows.
std::vector<EdgeSample> samplesOf(const cv::Mat_<float>& frame, cv::Rect place, bool alongRows) {
    std::vector<EdgeSample> samples;
    const double cx = 0.5 * (place.width - 1), cy = 0.5 * (place.height - 1);
    for (int y = 0; y < place.height; ++y) {
        for (int x = 0; x < place.width; ++x) {
            const double value = static_cast<double>(frame(place.y + y, place.x + x));
            if (!std::isfinite(value)) continue;
            const auto at = static_cast<std::size_t>(place.y + y) * static_cast<std::size_t>(frame.cols) +
                            static_cast<std::size_t>(place.x + x);
            const double dx = x - cx, dy = y - cy;
            samples.push_back(alongRows ? EdgeSample{dy, dx, value, at} : EdgeSample{dx, dy, value, at});
        }
    }
    return samples;
}

}  // namespace

EdgeRegion edgeRegion(const cv::Mat_<float>& frame, cv::Rect place) {
    EdgeRegion region;
    Gradients g(frame(place));
    Moments moments(g);
    region.alongRows = moments.yy > moments.xx;
    if (region.alongRows) {
        std::swap(moments.xx, moments.yy);
        g.transpose();
    }
    double slope = -std::tan(moments.direction());
    double offset = strongestOffset(g, slope);
    for (int round = 0; round < 3; ++round) straighten(g, offset, slope);
    region.start.reach = 0.5 * (g.x.rows - 1);
    region.start.c0 = offset;
    region.start.c1 = slope * region.start.reach;
    region.samples = samplesOf(frame, place, region.alongRows);
    return region;
}

}  // namespace oravo::tools
