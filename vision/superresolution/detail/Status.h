#ifndef ORAVO_VISION_DETAIL_STATUS_H
#define ORAVO_VISION_DETAIL_STATUS_H

/// What operations return in place of a result, from the registration up to the C interface. A run returns its status as a
/// float, in place of the resolution gain.
namespace oravo::vision::status {

enum Status : int {
    ok = 0,
    initFailed = -1,            ///< C interface: no session
    fallbackPixel = -2,         ///< a defective pixel had too few valid neighbours and got a fallback value
    tooFewValidPixels = -3,     ///< at least half of a frame's pixels are unusable
    notEnoughStructure = -4,    ///< C interface: the range of a frame is below Defaults.h's kMinStructure
    tooFewImages = -5,          ///< C interface: the window is not full
    tooLargeDisplacement = -6,  ///< a frame moved by more than a tenth of the frame height
    noCornerTracked = -9,       ///< registration: no corner of the reference was found in a frame
    registrationFailed = -998,  ///< a run whose registration failed
    error = -999                ///< C interface: see the error message
};

/// Whether the float that a run returned is this status.
inline bool isStatus(float result, Status status) {
    return result == static_cast<float>(status);
}

}  // namespace oravo::vision::status

#endif
