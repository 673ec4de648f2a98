#ifndef ORAVO_GSTREAMER_SIZECAPS_H
#define ORAVO_GSTREAMER_SIZECAPS_H

#include <gst/gst.h>

namespace oravo::gstreamer {

/// What frames of such caps become, with width and height doubled.
GstCaps* enlargedCaps(const GstCaps* caps);

/// The frames that images of such caps are made of; none for an odd width or height.
GstCaps* frameCaps(const GstCaps* caps);

}  // namespace oravo::gstreamer

#endif
