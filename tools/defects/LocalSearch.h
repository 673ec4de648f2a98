#ifndef ORAVO_TOOLS_DEFECTS_LOCALSEARCH_H
#define ORAVO_TOOLS_DEFECTS_LOCALSEARCH_H

#include <opencv2/core.hpp>
#include <vector>

#include "tools/defects/MotionSearch.h"

namespace oravo::tools {

/// Looks for pixels that stand out from their eight neighbours: by their mean over the frames, farther than
/// noise and the neighbours' own range explain, or by how much they change from frame to frame. That takes frames without
/// movement, or a single one. A point of the scene that is hot or cold by itself stands out as well.
/// @return the pixels, row by row; at most a fiftieth of all, else none, since a scene is full of such points then
std::vector<cv::Point> findByNeighbours(const FrameSequence& frames);

}  // namespace oravo::tools

#endif
