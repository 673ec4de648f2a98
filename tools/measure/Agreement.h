#ifndef ORAVO_TOOLS_MEASURE_AGREEMENT_H
#define ORAVO_TOOLS_MEASURE_AGREEMENT_H

#include <opencv2/core.hpp>
#include <vector>

namespace oravo::tools {

/// The frames that an image was computed from, on their own grids, and what the library found out about them.
struct AlignedFrames {
    std::vector<cv::Mat_<float>> frames;
    std::vector<cv::Point2f> shifts;     ///< frame(p + d) = reference(p)
    std::vector<cv::Mat_<uchar>> masks;  ///< on the reference frame's grid: 1 where a frame agrees with it;
                                         ///< none where that is unknown, and all pixels count
};

/// How many frames are valid at each pixel of the enlarged image: the sum of the masks, of twice their size.
cv::Mat_<uchar> coverageOf(const std::vector<cv::Mat_<uchar>>& masks);

/// The share of a mask's pixels that are valid.
double validShare(const cv::Mat_<uchar>& mask);

/// An estimate of the frames' noise at each pixel of the enlarged image, in its unit: the standard deviation
/// of what the frames show beyond the image.
///
/// The residual of a frame at a pixel is its value less that of the image as SensorModel sees it. The estimate
/// is the deviation of valid residuals from their mean at the same pixel, pooled over the 5 x 5 pixels around
/// it, with one degree of freedom less than residuals at each pixel:
///   s^2 = sum_q sum_k (r_qk - mean_k r_qk)^2 / sum_q (n_q - 1).
/// It includes what the image cannot explain, so that it rises along edges and where something moved. NaN where
/// no pixel nearby has two valid frames.
cv::Mat_<float> noiseMapOf(const AlignedFrames& aligned, const cv::Mat_<float>& image, float psfSigma);

}  // namespace oravo::tools

#endif
