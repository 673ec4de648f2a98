#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tools/measure/BlurMeter.h"
#include "tools/measure/Metrics.h"

namespace oravo::tools {
namespace {

constexpr int kSides[] = {24, 36, 54, 80, 120};       // of the squares that are looked at, in pixels
constexpr int kSteps = 6;                             // in which a square is moved by its side
constexpr std::size_t kMostOfOneSide = 6;             // candidates
constexpr double kLeastTilt = 2.0, kMostTilt = 43.0;  // degrees

struct Candidate {
    cv::Rect place;
    double promise;
};

/// Sums of squared gradients over any rectangle.
struct Tensor {
    explicit Tensor(const cv::Mat_<float>& frame) {
        cv::Mat_<float> smooth, x, y;
        cv::GaussianBlur(repaired(frame), smooth, {}, 1.0, 1.0, cv::BORDER_REPLICATE);
        cv::Sobel(smooth, x, CV_32F, 1, 0, 3, 0.125, 0.0, cv::BORDER_REPLICATE);
        cv::Sobel(smooth, y, CV_32F, 0, 1, 3, 0.125, 0.0, cv::BORDER_REPLICATE);
        cv::integral(x.mul(x), xx, CV_64F);
        cv::integral(x.mul(y), xy, CV_64F);
        cv::integral(y.mul(y), yy, CV_64F);
    }
    static double over(const cv::Mat_<double>& sums, cv::Rect r) {
        return sums(r.y + r.height, r.x + r.width) - sums(r.y, r.x + r.width) - sums(r.y + r.height, r.x) +
               sums(r.y, r.x);
    }
    cv::Mat_<double> xx, xy, yy;
};

/// Gradients that all point one way make a square promising, the more the stronger they are; 0 where they point along the
/// pixel grid or its diagonals.
double promiseOf(const Tensor& tensor, cv::Rect place) {
    const double xx = Tensor::over(tensor.xx, place), xy = Tensor::over(tensor.xy, place),
                 yy = Tensor::over(tensor.yy, place);
    const double both = xx + yy, difference = std::hypot(xx - yy, 2.0 * xy);
    if (!(both > 0.0)) return 0.0;
    const double turn = std::abs(0.5 * std::atan2(2.0 * xy, xx - yy)) * 180.0 / CV_PI;  // 0 to 90
    const double tilt = std::min(turn, 90.0 - turn);
    if (tilt < kLeastTilt || tilt > kMostTilt) return 0.0;
    const double oneWay = difference / both;
    return difference * oneWay * oneWay * oneWay;
}

void keepBest(std::vector<Candidate>& all) {
    std::sort(all.begin(), all.end(),
              [](const Candidate& a, const Candidate& b) { return a.promise > b.promise; });
    std::vector<Candidate> kept;
    for (const Candidate& c : all) {
        const auto overlaps = [&](const Candidate& other) {
            return 2 * (c.place & other.place).area() > c.place.area();
        };
        if (kept.size() < kMostOfOneSide && std::none_of(kept.begin(), kept.end(), overlaps))
            kept.push_back(c);
    }
    all = kept;
}

}  // namespace

std::vector<cv::Rect> edgeCandidates(const cv::Mat_<float>& frame) {
    const Tensor tensor(frame);
    std::vector<cv::Rect> places;
    for (const int wanted : kSides) {
        const int side = std::min({wanted, frame.cols, frame.rows});
        const int step = std::max(1, side / kSteps);
        std::vector<Candidate> all;
        for (int y = 0; y + side <= frame.rows; y += step) {
            for (int x = 0; x + side <= frame.cols; x += step) {
                const cv::Rect place(x, y, side, side);
                const double promise = promiseOf(tensor, place);
                if (promise > 0.0) all.push_back({place, promise});
            }
        }
        keepBest(all);
        for (const Candidate& c : all) places.push_back(c.place);
        if (side < wanted) break;
    }
    return places;
}

}  // namespace oravo::tools
