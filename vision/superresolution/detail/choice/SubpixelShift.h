#ifndef ORAVO_VISION_DETAIL_CHOICE_SUBPIXELSHIFT_H
#define ORAVO_VISION_DETAIL_CHOICE_SUBPIXELSHIFT_H

#include <opencv2/core.hpp>
#include <optional>

namespace oravo::vision::detail {

/// What a shift leaves beyond whole pixels, estimated again by least squares over all pixels, and its standard error. Corners
/// that are followed through noise are off by tenths of a pixel; this is off by hundredths there, and knows by how many.
///
/// With D the difference between the frame, moved back by whole pixels, and the reference, and g the gradient of their
/// mean, the remainder r solves sum h (D + g r) = 0, where h is g smoothed. Smoothing keeps most of the noise out of the
/// sum, and what of it remains in sum h g is known and deducted. Pixels that differ by more than three deviations, such as
/// those of something that moves on its own, and pixels near ones without a value do not count. Of large frames the middle
/// is looked at.
struct SubpixelShift {
    cv::Point2d remainder;  ///< pixels
    cv::Point2d error;      ///< standard errors, from what the remainder leaves unexplained

    /// Nothing where there is no overlap or the scene does not determine it.
    /// @param reference, frame  of one size
    /// @param shift             frame(p + d) = reference(p), right to a pixel or so
    static std::optional<SubpixelShift> of(const cv::Mat_<float>& reference, const cv::Mat_<float>& frame,
                                           cv::Point2f shift);
};

}  // namespace oravo::vision::detail

#endif
