#ifndef ORAVO_VISION_DETAIL_PRECISE_IMPULSES_H
#define ORAVO_VISION_DETAIL_PRECISE_IMPULSES_H

#include <vector>

#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/FrameState.h"

namespace oravo::vision::detail::precise {

/// Values of a frame that are far off all their neighbours, by their places, ascending: impulses of flickering pixels and of
/// particles, points of the scene, dead pixels.
std::vector<std::size_t> findSpikes(const Grid& grid, const FrameState& frame,
                                    const Threads& threads = Threads());

/// For each frame, values that an image of all frames does not explain, while it explains what lies around them and what other
/// frames show in the same place of the scene. A point of the scene would be in the image, since other frames show it as well.
/// What moves on its own is larger than one pixel; and what flashes is seen in the same place of the scene, by other pixels, if
/// it lasts for more than one frame. Where impulses are many, up to three may lie side by side, and in one place of the scene.
std::vector<std::vector<std::size_t>> findImpulses(const Grid& grid, const std::vector<FrameState>& frames,
                                                   const Threads& threads = Threads());

}  // namespace oravo::vision::detail::precise

#endif
