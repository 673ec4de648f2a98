#include "tests/plain/PlainFlow.h"

#include <cmath>
#include <cstdlib>

#include "tests/plain/PlainOperators.h"

namespace oravo::plain {
namespace {

/// Central differences, one-sided ones at both ends, along x or y.
float difference(const cv::Mat_<float>& R, int x, int y, int stepX, int stepY) {
    const int last = stepX != 0 ? R.cols - 1 : R.rows - 1;
    const int position = stepX != 0 ? x : y;
    if (position == 0) return R(y + stepY, x + stepX) - R(y, x);
    if (position == last) return R(y, x) - R(y - stepY, x - stepX);
    return (R(y + stepY, x + stepX) - R(y - stepY, x - stepX)) * 0.5f;
}

cv::Rect overlap(cv::Size size, int dx, int dy) {
    return {std::max(-dx, 0), std::max(-dy, 0), size.width - std::abs(dx), size.height - std::abs(dy)};
}

}  // namespace

FlowResult opticalFlow(const cv::Mat_<float>& R, const cv::Mat_<float>& F, cv::Point d, float regError,
                       int regErrBlurRadius) {
    const cv::Rect B = overlap(R.size(), d.x, d.y);
    cv::Mat_<float> gradX(R.size()), gradY(R.size()), error(R.size(), regError);
    double sumXX = 0, sumXY = 0, sumYY = 0, nXX = 0, nXY = 0, nYY = 0, bX = 0, bY = 0;
    for (int y = 0; y < R.rows; ++y) {
        for (int x = 0; x < R.cols; ++x) {
            const float gx = gradX(y, x) = difference(R, x, y, 1, 0);
            const float gy = gradY(y, x) = difference(R, x, y, 0, 1);
            sumXX += static_cast<double>(gx * gx);
            sumXY += static_cast<double>(gx * gy);
            sumYY += static_cast<double>(gy * gy);
            if (B.contains({x, y})) {
                const float e = F(y + d.y, x + d.x) - R(y, x);
                bX += static_cast<double>(e * gx);
                bY += static_cast<double>(e * gy);
            } else {
                nXX += static_cast<double>(gx * gx);
                nXY += static_cast<double>(gx * gy);
                nYY += static_cast<double>(gy * gy);
            }
        }
    }
    const double a11 = static_cast<double>(static_cast<float>(sumXX)) - nXX;
    const double a12 = static_cast<double>(static_cast<float>(sumXY)) - nXY;
    const double a22 = static_cast<double>(static_cast<float>(sumYY)) - nYY;
    const double det = a22 * a11 - a12 * a12;
    const float u = static_cast<float>((a12 * bY - a22 * bX) / det);
    const float v = static_cast<float>((a12 * bX - a11 * bY) / det);
    const float k = static_cast<float>(1.0 / (a22 + a11));
    for (int y = B.y; y < B.y + B.height; ++y) {
        for (int x = B.x; x < B.x + B.width; ++x) {
            const float residual = gradY(y, x) * v + u * gradX(y, x) + F(y + d.y, x + d.x) - R(y, x);
            error(y, x) = residual * residual * k;
        }
    }
    FlowResult result;
    result.shift = {static_cast<float>(d.x) + u, static_cast<float>(d.y) + v};
    result.smoothedError = windowMean(error, regErrBlurRadius);
    result.mask = cv::Mat_<unsigned char>::zeros(R.size());
    const cv::Rect valid = overlap(R.size(), static_cast<int>(std::floor(result.shift.x + 0.5f)),
                                   static_cast<int>(std::floor(result.shift.y + 0.5f)));
    for (int y = valid.y; y < valid.y + valid.height; ++y) {
        for (int x = valid.x; x < valid.x + valid.width; ++x) {
            if (static_cast<double>(regError) > result.smoothedError(y, x)) result.mask(y, x) = 1;
        }
    }
    return result;
}

}  // namespace oravo::plain
