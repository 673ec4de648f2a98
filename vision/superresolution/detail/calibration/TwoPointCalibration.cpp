#include "vision/superresolution/detail/calibration/TwoPointCalibration.h"

#include <string>

#include "vision/superresolution/detail/numerics/Neighbours.h"

namespace oravo::vision::detail {
namespace {

constexpr float kBound = 1000.0f;
constexpr float kNoLine = -kBound;  // on the bound, and so repaired with the outliers

void requireSize(const cv::Mat& image, const cv::Mat& first, const char* name, const CodeLocation& where) {
    if (image.size() == first.size()) return;
    const auto text = [](const cv::Mat& m) {
        return std::to_string(m.cols) + " x " + std::to_string(m.rows);
    };
    raise(ErrorKind::badArgument,
          "Invalid calibration: nuc1 is " + text(first) + ", but " + name + " is " + text(image) + ".",
          where);
}

}  // namespace

void repairOutliers(cv::Mat_<float>& values, float low, float high) {
    const auto isInside = [=](float value) { return value > low && value < high; };
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            float& value = values(y, x);
            if (value <= low || value >= high)
                value = sumOfNeighbours(values, x, y, kFourNeighbours, isInside).mean();
        }
    }
}

TwoPointCalibration::TwoPointCalibration(const cv::Mat_<short>& count1, const cv::Mat_<float>& value1,
                                         const cv::Mat_<short>& count2, const cv::Mat_<float>& value2,
                                         const CodeLocation& where)
    : gain(count1.size()), offset(count1.size()) {
    requireSize(value1, count1, "rad1", where);
    requireSize(count2, count1, "nuc2", where);
    requireSize(value2, count1, "rad2", where);
    for (int y = 0; y < gain.rows; ++y) {
        for (int x = 0; x < gain.cols; ++x) {
            const float k1 = static_cast<float>(count1(y, x));
            const float k2 = static_cast<float>(count2(y, x));
            const bool line = k1 != k2;
            gain(y, x) = line ? (value2(y, x) - value1(y, x)) / (k2 - k1) : kNoLine;
            offset(y, x) = line ? value1(y, x) - gain(y, x) * k1 : kNoLine;
        }
    }
    repairOutliers(gain, -kBound, kBound);
    repairOutliers(offset, -kBound, kBound);
}

void TwoPointCalibration::apply(const cv::Mat_<short>& counts, cv::Mat_<float>& values) const {
    values.create(counts.rows, counts.cols);
    for (int y = 0; y < counts.rows; ++y) {
        for (int x = 0; x < counts.cols; ++x) {
            values(y, x) = static_cast<float>(counts(y, x)) * gain(y, x) + offset(y, x);
        }
    }
}

}  // namespace oravo::vision::detail
