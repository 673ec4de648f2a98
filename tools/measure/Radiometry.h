#ifndef ORAVO_TOOLS_MEASURE_RADIOMETRY_H
#define ORAVO_TOOLS_MEASURE_RADIOMETRY_H

#include <cstddef>
#include <opencv2/core.hpp>
#include <optional>

namespace oravo::tools {

/// The image as its camera would show it again in the reference frame: blurred, and sampled at the frame's pixels. Where the
/// image says what the frame saw, the two differ by the frame's noise only. By a camera that shares nothing with the
/// solvers. Pixels near ones without a value are NaN.
/// @param psfSigma  blur in pixels of the image
cv::Mat_<float> seenByCamera(const cv::Mat_<float>& image, float psfSigma);

/// By how much the image reads above the reference frame where the scene is flat, in the frames' unit. There, blur and
/// sharpening change nothing, so that the image ought to read what the frame does, noise apart.
///
/// Flat is a pixel around which the image, smoothed over 5 x 5 pixels of the frame, changes by less than 2 % of its range
/// (99 % of its pixels) within 9 x 9. Areas are squares of 8 x 8 pixels of which half or more are flat.
struct FlatBias {
    std::size_t pixels = 0;   ///< flat ones of the frame
    double difference = 0.0;  ///< their mean
    double error = 0.0;       ///< its standard error, from the scatter between areas
    double worst = 0.0;       ///< the mean of the area where it is farthest from 0
    double worstError =
        0.0;  ///< its standard error; noise alone reaches some three of them among hundreds of areas
    cv::Point worstAt;  ///< the middle of that area, in pixels of the frame

    /// Nothing where there are fewer than four flat areas.
    /// @param seen  of seenByCamera(), of the reference's size
    static std::optional<FlatBias> of(const cv::Mat_<float>& seen, const cv::Mat_<float>& reference);
};

}  // namespace oravo::tools

#endif
