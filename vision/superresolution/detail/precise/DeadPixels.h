#ifndef ORAVO_VISION_DETAIL_PRECISE_DEADPIXELS_H
#define ORAVO_VISION_DETAIL_PRECISE_DEADPIXELS_H

#include <vector>

#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Finds sensor pixels whose values do not follow the scene: their misfit is large in the frames on average, and larger
/// than that of their neighbours. Frames count where they show what the reference shows. A hot spot of the scene moves
/// with it, so the image explains it. Takes three frames.
/// @return indices of pixels of a frame, ascending
std::vector<std::size_t> findDeadPixels(const Grid& grid, const std::vector<FrameState>& frames);

/// Those of the given pixels, ascending, that the frames clear, by their misfits from an image which they have no part in: that
/// fit it; that change with it; and that change where they lie side by side, since these may hide a spot of the scene from
/// the image. A dead pixel does none of this for long.
std::vector<std::size_t> findSound(const Grid& grid, const std::vector<FrameState>& frames,
                                   const std::vector<std::size_t>& pixels);

}  // namespace oravo::vision::detail::precise

#endif
