#ifndef ORAVO_GSTREAMER_ELEMENT_H
#define ORAVO_GSTREAMER_ELEMENT_H

#include <gst/gst.h>

namespace oravo::gstreamer {

/// The type of the element oravosuperres: a filter of video/x-raw, GRAY16_LE into GRAY16_LE of twice the width and height,
/// a buffer for each buffer, see FrameFilter. gst-inspect-1.0 oravosuperres is its manual.
GType elementType();

}  // namespace oravo::gstreamer

#endif
