#ifndef ORAVO_VISION_DETAIL_PRECISE_DEADPIXELS_H
#define ORAVO_VISION_DETAIL_PRECISE_DEADPIXELS_H

#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Finds sensor pixels whose values do not follow the scene: their misfit is large in the frames on average, and larger
/// than that of their neighbours. Frames count where they show what the reference shows. A hot spot of the scene moves
/// with it, so the image explains it. Takes three frames.
/// @return indices of pixels of a frame, ascending
std::vector<std::size_t> findDeadPixels(const Grid& grid, const std::vector<FrameState>& frames,
                                        const Threads& threads = Threads());

/// Those of the given pixels, ascending, that are sound after all, judged against an image made without them: pixels that
/// fit it, pixels that change as it does, and neighbours that change at all, since together they may have hidden a spot of
/// the scene from the image. A dead pixel does none of this for long.
std::vector<std::size_t> findSound(const Grid& grid, const std::vector<FrameState>& frames,
                                   const std::vector<std::size_t>& pixels);

}  // namespace oravo::vision::detail::precise

#endif
