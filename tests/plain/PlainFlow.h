#ifndef ORAVO_TESTS_PLAIN_PLAINFLOW_H
#define ORAVO_TESTS_PLAIN_PLAINFLOW_H

#include <opencv2/core.hpp>

namespace oravo::plain {

struct FlowResult {
    cv::Point_<float> shift;
    cv::Mat_<double> smoothedError;
    cv::Mat_<unsigned char> mask;
};

/// The sub-pixel step and the validity mask, pixel by pixel, every sum in order of the index.
FlowResult opticalFlow(const cv::Mat_<float>& reference, const cv::Mat_<float>& frame, cv::Point shift,
                       float regError, int regErrBlurRadius);

}  // namespace oravo::plain

#endif
