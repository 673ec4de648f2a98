#ifndef ORAVO_VISION_DETAIL_PRECISE_FRAMECROP_H
#define ORAVO_VISION_DETAIL_PRECISE_FRAMECROP_H

#include "vision/superresolution/detail/precise/FrameState.h"
#include "vision/superresolution/detail/precise/PaddedImage.h"

namespace oravo::vision::detail::precise {

/// The same part of all frames, as a smaller problem of its own: pixels (left, top) to (left + width, top + height).
struct FrameCrop {
    Grid whole;
    Grid part;
    int left = 0, top = 0;

    FrameState of(const FrameState& frame) const;
    Buffer<float> of(const Buffer<float>& dense) const;  ///< of a frame's size, or empty
    PaddedImage of(const PaddedImage& image) const;      ///< of the grid
};

/// The grid of a crop of 20,000 pixels and a tenth of the frames' own, in their proportions.
Grid croppedGrid(const Grid& whole);

/// The crop of croppedGrid() in which the image has most structure, among nine of regular places.
FrameCrop busiestCrop(const Grid& whole, const PaddedImage& image);

}  // namespace oravo::vision::detail::precise

#endif
