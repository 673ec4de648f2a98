#ifndef ORAVO_TOOLS_MEASURE_METRICS_H
#define ORAVO_TOOLS_MEASURE_METRICS_H

#include <opencv2/core.hpp>

namespace oravo::tools {

/// How near an image comes to the truth.
struct Quality {
    double psnr = 0.0;  ///< dB, 20 log10(range of the truth / rmse); infinite for equal images
    double rmse = 0.0;  ///< in the images' unit
    double ssim = 0.0;
    long long compared = 0;  ///< pixels
    long long leftOut = 0;   ///< pixels without a value (not finite, or a status code) in either image
};

/// Compares an image with the truth, `crop` pixels from the border inwards.
///
/// SSIM after Wang, Bovik, Sheikh and Simoncelli (IEEE Trans. Image Processing 13, 2004): Gaussian window of
/// 11 x 11, standard deviation 1.5, constants (0.01 L)^2 and (0.03 L)^2 with L the range of the truth, mean
/// over the compared pixels; a pixel that is left out counts as equal within its neighbours' windows.
/// Throws UserError when sizes differ or nothing is left to compare.
Quality compareWithTruth(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int crop);

/// Root mean square errors in places that people look at, in the images' unit; not a number where there is no such
/// place.
struct RegionErrors {
    double flat = 0.0;  ///< where the truth changes by less than 2 % of its range within 9 x 9 pixels
    double hot = 0.0;   ///< its hottest 1 % of pixels
    double cold = 0.0;  ///< its coldest 1 %
};

/// The images have to be such that compareWithTruth() takes them.
RegionErrors regionErrors(const cv::Mat_<float>& image, const cv::Mat_<float>& truth, int crop);

/// 1 where the pixel holds a value.
cv::Mat_<uchar> valueMask(const cv::Mat_<float>& image);

/// The number of pixels that do not.
int countWithoutValue(const cv::Mat_<float>& image);

/// The frame with pixels that hold no value replaced by the mean of those among their eight neighbours that
/// do, or by the frame's mean where there are none: what an ordinary viewer would enlarge.
cv::Mat_<float> repaired(const cv::Mat_<float>& frame);

/// Bicubic enlargement; pixel centres keep their place, so that with a factor of 2 the centre of pixel i goes
/// to 2 i + 0.5.
cv::Mat_<float> bicubic(const cv::Mat_<float>& frame, cv::Size size);

}  // namespace oravo::tools

#endif
