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

/// What speaks against taking the image for better than an enlargement of its reference frame; empty where nothing does.
std::string doubtAbout(const SrPreciseResult& result);

}  // namespace oravo::vision::detail

#endif
