#ifndef ORAVO_VISION_DETAIL_CALIBRATION_TWOPOINTCALIBRATION_H
#define ORAVO_VISION_DETAIL_CALIBRATION_TWOPOINTCALIBRATION_H

#include <opencv2/core.hpp>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {

/// Per pixel the line through two points (sensor count, radiometric value): radiometric = gain count +
/// offset.
struct TwoPointCalibration {
    cv::Mat_<float> gain;
    cv::Mat_<float> offset;

    TwoPointCalibration() = default;

    /// Gains and offsets outside (-1000, 1000), and those of pixels whose two counts are equal, are repaired
    /// by repairOutliers. Throws oravo::Exception, naming the sizes, when the images are not of one size.
    TwoPointCalibration(const cv::Mat_<short>& count1, const cv::Mat_<float>& value1,
                        const cv::Mat_<short>& count2, const cv::Mat_<float>& value2,
                        const CodeLocation& where);

    /// Creates values with the size of counts, which has to be that of the calibration, and converts them.
    void apply(const cv::Mat_<short>& counts, cv::Mat_<float>& values) const;
};

/// Replaces, in scan order and in place, every value that is not strictly between low and high by the mean of
/// those of its left, right, upper and lower neighbours that are, replaced ones included. Without any such
/// neighbour the mean is 0/0, NaN. A NaN is not replaced: it lies on neither side of a bound.
void repairOutliers(cv::Mat_<float>& values, float low, float high);

}  // namespace oravo::vision::detail

#endif
