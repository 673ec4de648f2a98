#ifndef ORAVO_CAPI_CAMERADESCRIPTION_H
#define ORAVO_CAPI_CAMERADESCRIPTION_H

#include <string>

namespace oravo::capi {

/// The standard deviation of a camera's point-spread function, in pixels of the enlarged image, chosen from a
/// free text that names the camera's model number and, after "FOV", its field of view. A text without both
/// yields the default, 0.683.
float psfSigmaOf(const std::string& description);

}  // namespace oravo::capi

#endif
