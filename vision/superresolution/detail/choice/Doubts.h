#ifndef ORAVO_VISION_DETAIL_CHOICE_DOUBTS_H
#define ORAVO_VISION_DETAIL_CHOICE_DOUBTS_H

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "vision/superresolution/SrPrecise.h"

namespace oravo::vision::detail {

/// The gain over bicubic enlargement in decibels, where pixels could be withheld and predicted.
std::optional<double> decibelsOverBicubic(const SrPreciseResult& result);

/// Whether the frames lie so near to whole pixels from each other, in x and y, that they sample the same
/// places of the scene.
bool samePhase(const std::vector<cv::Point2f>& shifts);

/// Whether shifts are as near to whole pixels as those of a tripod, which noise shifts by some tenths. To estimate them
/// again takes as long as half a run of small frames, too long to do so for every frame of a moving camera.
bool mayBeInPhase(const std::vector<cv::Point2f>& shifts);

/// The same as samePhase() for shifts that noise may have spoilt: each is estimated again, to within its standard error.
/// @param frames     as they were given, one for each shift
/// @param reference  the place of the one that shifts refer to
bool samePhase(const std::vector<cv::Mat_<float>>& frames, const std::vector<cv::Point2f>& shifts,
               std::size_t reference);

/// Whether the scene moves over the sensor by less than a quarter of a pixel, so that what stays there cannot be separated from it.
/// @param frames  that the image was made of, one for each of the result
bool hardlyMoves(const SrPreciseResult& result, const std::vector<cv::Mat_<float>>& frames);

/// What speaks against taking the image for better than an enlargement of its reference frame; empty where nothing does.
/// @param frames     that it was made of, one for each of the result
/// @param reference  the place of its reference frame
std::string doubtAbout(const SrPreciseResult& result, const std::vector<cv::Mat_<float>>& frames,
                       std::size_t reference);

}  // namespace oravo::vision::detail

#endif
