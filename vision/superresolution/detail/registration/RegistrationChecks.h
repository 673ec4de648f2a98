#ifndef ORAVO_VISION_DETAIL_REGISTRATION_REGISTRATIONCHECKS_H
#define ORAVO_VISION_DETAIL_REGISTRATION_REGISTRATIONCHECKS_H

#include <string>

#include "support/CodeLocation.h"

namespace oravo::vision::detail {

/// The number of slots itself; throws an Exception that names it when it is below 1.
inline int checkedFrameCount(int frameCount, const CodeLocation& where) {
    if (frameCount < 1)
        raise(ErrorKind::badArgument,
              "Invalid number of frames " + std::to_string(frameCount) + " specified.", where);
    return frameCount;
}

/// Throws when a run asks for frames that have not been prepared, or for a reference that is not among them.
inline void checkPrepared(int numFrames, int refIndex, int preparedCount, const CodeLocation& where) {
    if (numFrames <= preparedCount && refIndex >= 0 && refIndex < numFrames) return;
    raise(ErrorKind::notReady,
          "Registration of " + std::to_string(numFrames) + " frames against frame " +
              std::to_string(refIndex) + " requested, but " + std::to_string(preparedCount) +
              " frames are prepared.",
          where);
}

}  // namespace oravo::vision::detail

#endif
