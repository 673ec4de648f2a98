#ifndef ORAVO_TOOLS_MEASURE_FRAMEMEASURES_H
#define ORAVO_TOOLS_MEASURE_FRAMEMEASURES_H

#include <opencv2/core.hpp>

namespace oravo::tools {

// What can be found out about frames before and after they were aligned. All of them take frames without status codes
// (see repaired()); shifts are in pixels, frame(p + d) = reference(p).

/// Standard deviation of the values.
double contrastOf(const cv::Mat_<float>& frame);

/// Standard deviation of noise that is independent from pixel to pixel, from the median magnitude of second
/// differences in both directions (Immerkaer, Computer Vision and Image Understanding 64, 1996, with the
/// median in place of the mean). Fine texture over most of the frame counts as noise.
double noiseOf(const cv::Mat_<float>& frame);

/// By how much the content of the second frame lies right of and below that of the first, by phase correlation, to a
/// fraction of a pixel. Any values, or not a number, where they have nothing in common.
cv::Point2d displacementBetween(const cv::Mat_<float>& before, const cv::Mat_<float>& after);

/// By how much the second frame lies above the first: the median difference where the two overlap once they are
/// aligned to whole pixels by phase correlation. 0 where the means of the frames differ by less than `negligible`, or
/// the frames cannot be aligned.
double levelStep(const cv::Mat_<float>& before, const cv::Mat_<float>& after, double negligible);

bool sameValues(const cv::Mat_<float>& a, const cv::Mat_<float>& b);

/// Power of the finest details (0.3 to 0.45 cycles per pixel) against that of coarser ones (0.1 to 0.2), in
/// decibels, along the axis where there is more of it. An interpolated picture has next to none.
double fineDetail(const cv::Mat_<float>& frame);

/// Whether the frame holds noise that is as strong at the highest frequencies as below them, as that of a sensor is, and
/// stronger than the rounding of its values. Interpolation leaves no such noise; blur in front of the sensor does.
bool hasNoiseFloor(const cv::Mat_<float>& frame);

/// Whether pixels come in equal blocks of 2 x 2.
bool hasDoubledPixels(const cv::Mat_<float>& frame);

/// What misfit() compares, to be computed once for each frame.
struct FrameDetail {
    cv::Mat_<float>
        band;  ///< the frame without level and slow drift, and without aliasing and most of the noise
    double noise = 0.0;  ///< noiseOf() the frame
    double contrast = 0.0;

    explicit FrameDetail(const cv::Mat_<float>& frame);
    FrameDetail() = default;
};

/// How far a frame disagrees with its reference once it is moved back by its shift: the share of the two
/// frames' detail that their difference holds, noise deducted. About 0 where they agree, 1 where they have
/// nothing in common or the shift leaves no overlap, or is no number; 0 also where they show no detail beyond their
/// noise. Shifts right to a fraction of a pixel: below 0.04; wrong by two pixels: above 0.2.
constexpr double kMisfit = 0.15;
double misfit(const FrameDetail& reference, const FrameDetail& frame, cv::Point2f shift);

}  // namespace oravo::tools

#endif
