#include <gst/gst.h>

#include "gstreamer/Element.h"

namespace {

gboolean registerElements(GstPlugin* plugin) {
    return gst_element_register(plugin, "oravosuperres", GST_RANK_NONE, oravo::gstreamer::elementType());
}

}  // namespace

#define PACKAGE "oravo-superresolution"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, oravosuperres,
                  "Multi-frame super-resolution of infrared frames", registerElements, ORAVO_VERSION,
                  "Proprietary", "oravo super-resolution", "https://oravo.invalid/")
