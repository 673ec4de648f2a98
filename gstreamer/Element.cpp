#include "gstreamer/Element.h"

#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>

#include <cfloat>
#include <memory>
#include <string>
#include <utility>

#include "gstreamer/FrameFilter.h"
#include "gstreamer/SizeCaps.h"
#include "tools/base/UserError.h"

GST_DEBUG_CATEGORY_STATIC(oravoSuperresDebug);
#define GST_CAT_DEFAULT oravoSuperresDebug

namespace oravo::gstreamer {
namespace {

/// What an element is, beside its base; C++ objects live from its initialisation to its end.
struct OravoSuperres {
    GstVideoFilter base;
    FilterOptions* options;
    std::unique_ptr<FrameFilter>* filter;  // none before frames have a size
    std::string* refusal;  // of these options or this size; sources try the same again and again
};
struct OravoSuperresClass {
    GstVideoFilterClass base;
};

G_DEFINE_TYPE(OravoSuperres, oravo_superres, GST_TYPE_VIDEO_FILTER)

constexpr char kCaps[] = GST_VIDEO_CAPS_MAKE("GRAY16_LE");

enum Property { kNone, kScale, kOffset, kNuc, kGuard, kPipeline, kThreads };

OravoSuperres* self(gpointer object) {
    return static_cast<OravoSuperres*>(object);
}

/// The names of the pipelines, as properties take them.
GType pipelineType() {
    static const GType type = [] {
        static GEnumValue values[8] = {};
        std::size_t count = 0;
        for (const std::string& name : tools::pipelineNames()) {
            const char* text = g_intern_string(name.c_str());
            values[count++] = {static_cast<int>(*tools::pipelineNamed(name)), text, text};
        }
        return g_enum_register_static("OravoSuperresPipeline", values);
    }();
    return type;
}

void setProperty(GObject* object, guint property, const GValue* value, GParamSpec* spec) {
    FilterOptions& options = *self(object)->options;
    GST_OBJECT_LOCK(object);
    switch (property) {
        case kScale:
            options.decode.scale = g_value_get_double(value);
            break;
        case kOffset:
            options.decode.offset = g_value_get_double(value);
            break;
        case kNuc:
            options.rawCounts = g_value_get_boolean(value) != FALSE;
            break;
        case kGuard:
            options.guarded = g_value_get_boolean(value) != FALSE;
            break;
        case kThreads:
            options.threads = g_value_get_int(value);
            break;
        case kPipeline:
            options.kind = static_cast<tools::PipelineKind>(g_value_get_enum(value));
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
    GST_OBJECT_UNLOCK(object);
}

void getProperty(GObject* object, guint property, GValue* value, GParamSpec* spec) {
    const FilterOptions& options = *self(object)->options;
    GST_OBJECT_LOCK(object);
    switch (property) {
        case kScale:
            g_value_set_double(value, options.decode.scale);
            break;
        case kOffset:
            g_value_set_double(value, options.decode.offset);
            break;
        case kNuc:
            g_value_set_boolean(value, options.rawCounts ? TRUE : FALSE);
            break;
        case kGuard:
            g_value_set_boolean(value, options.guarded ? TRUE : FALSE);
            break;
        case kThreads:
            g_value_set_int(value, options.threads);
            break;
        case kPipeline:
            g_value_set_enum(value, static_cast<int>(options.kind));
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, spec);
    }
    GST_OBJECT_UNLOCK(object);
}

GstCaps* transformCaps(GstBaseTransform*, GstPadDirection direction, GstCaps* caps, GstCaps* filter) {
    GstCaps* other = direction == GST_PAD_SINK ? enlargedCaps(caps) : frameCaps(caps);
    if (filter == nullptr) return other;
    GstCaps* both = gst_caps_intersect_full(filter, other, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(other);
    return both;
}

/// A filter with an empty window, for frames of a size.
bool begin(OravoSuperres* element, const GstVideoInfo& frames) {
    GST_OBJECT_LOCK(element);
    const FilterOptions options = *element->options;
    GST_OBJECT_UNLOCK(element);
    const auto warn = [element](const std::string& line) { GST_WARNING_OBJECT(element, "%s", line.c_str()); };
    try {
        element->filter->reset();
        const cv::Size size(GST_VIDEO_INFO_WIDTH(&frames), GST_VIDEO_INFO_HEIGHT(&frames));
        *element->filter = std::make_unique<FrameFilter>(size, options, warn);
        element->refusal->clear();
        return true;
    } catch (...) {
        const std::string text = tools::currentExceptionText();
        if (text != *element->refusal)
            GST_ELEMENT_ERROR(element, STREAM, FORMAT, ("%s", text.c_str()), (nullptr));
        *element->refusal = text;
        return false;
    }
}

gboolean setInfo(GstVideoFilter* base, GstCaps*, GstVideoInfo* frames, GstCaps*, GstVideoInfo*) {
    if (!begin(self(base), *frames)) return FALSE;
    // Sinks wait as long as an image may take at most where the filter keeps pace.
    gst_element_post_message(GST_ELEMENT(base), gst_message_new_latency(GST_OBJECT(base)));
    return TRUE;
}

GstFlowReturn transformFrame(GstVideoFilter* base, GstVideoFrame* frame, GstVideoFrame* image) {
    const auto rows = [](GstVideoFrame* video) -> CountRows {
        return {static_cast<char*>(GST_VIDEO_FRAME_PLANE_DATA(video, 0)),
                GST_VIDEO_FRAME_PLANE_STRIDE(video, 0)};
    };
    try {
        (*self(base)->filter)->enlarge(rows(frame), rows(image));
        return GST_FLOW_OK;
    } catch (...) {
        GST_ELEMENT_ERROR(base, STREAM, DECODE, ("%s", tools::currentExceptionText().c_str()), (nullptr));
        return GST_FLOW_ERROR;
    }
}

/// Frames after a seek do not belong to those before it.
gboolean sinkEvent(GstBaseTransform* base, GstEvent* event) {
    const GstVideoFilter* video = GST_VIDEO_FILTER(base);
    if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP && *self(base)->filter &&
        !begin(self(base), video->in_info)) {
        gst_event_unref(event);
        return FALSE;
    }
    return GST_BASE_TRANSFORM_CLASS(oravo_superres_parent_class)->sink_event(base, event);
}

gboolean stop(GstBaseTransform* base) {
    self(base)->filter->reset();
    self(base)->refusal->clear();
    return TRUE;
}

/// An image comes with its own frame, after the time that it takes: up to that between two frames where the filter keeps
/// pace.
gboolean query(GstBaseTransform* base, GstPadDirection direction, GstQuery* asked) {
    const auto* parent = GST_BASE_TRANSFORM_CLASS(oravo_superres_parent_class);
    if (parent->query(base, direction, asked) == FALSE) return FALSE;
    if (GST_QUERY_TYPE(asked) != GST_QUERY_LATENCY || direction != GST_PAD_SRC) return TRUE;
    const GstVideoInfo& info = GST_VIDEO_FILTER(base)->in_info;
    if (GST_VIDEO_INFO_FPS_N(&info) <= 0) return TRUE;
    const GstClockTime frame =
        gst_util_uint64_scale_int(GST_SECOND, GST_VIDEO_INFO_FPS_D(&info), GST_VIDEO_INFO_FPS_N(&info));
    gboolean live = FALSE;
    GstClockTime least = 0, most = GST_CLOCK_TIME_NONE;
    gst_query_parse_latency(asked, &live, &least, &most);
    gst_query_set_latency(asked, live, least + frame, GST_CLOCK_TIME_IS_VALID(most) ? most + frame : most);
    return TRUE;
}

void finalise(GObject* object) {
    delete self(object)->refusal;
    delete self(object)->filter;
    delete self(object)->options;
    G_OBJECT_CLASS(oravo_superres_parent_class)->finalize(object);
}

void installProperties(GObjectClass* object) {
    constexpr auto kFlags =
        static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY);
    const FilterOptions defaults;
    const auto install = [&](Property property, GParamSpec* spec) {
        g_object_class_install_property(object, property, spec);
    };
    install(kScale, g_param_spec_double("scale", "Scale", "Decode: value = scale * count + offset", -DBL_MAX,
                                        DBL_MAX, defaults.decode.scale, kFlags));
    install(kOffset, g_param_spec_double("offset", "Offset", "See scale", -DBL_MAX, DBL_MAX,
                                         defaults.decode.offset, kFlags));
    install(kNuc, g_param_spec_boolean(
                      "nuc", "Raw counts",
                      "Values are raw counts: the plausible range is -32768 .. 32767 instead of -274 "
                      ".. 5000, outside which they count as defects",
                      defaults.rawCounts, kFlags));
    install(kGuard,
            g_param_spec_boolean("guard", "Guard",
                                 "Keep windows within jumps of level or contrast, and leave out frames that "
                                 "spoil an image",
                                 defaults.guarded, kFlags));
    install(kPipeline,
            g_param_spec_enum("pipeline", "Pipeline",
                              "How images are computed: float keeps pace with a camera, precise makes the "
                              "best image",
                              pipelineType(), static_cast<int>(defaults.kind), kFlags));
    install(kThreads,
            g_param_spec_int("threads", "Threads",
                             "Threads that share the work on one image, of the precise and the float "
                             "pipeline; 0: one on each processor",
                             0, vision::SrPrecise::kMaxThreads, defaults.threads, kFlags));
    gst_type_mark_as_plugin_api(pipelineType(), static_cast<GstPluginAPIFlags>(0));
}

void oravo_superres_class_init(OravoSuperresClass* type) {
    GST_DEBUG_CATEGORY_INIT(oravoSuperresDebug, "oravosuperres", 0, "multi-frame super-resolution");
    auto* object = G_OBJECT_CLASS(type);
    object->set_property = setProperty;
    object->get_property = getProperty;
    object->finalize = finalise;
    installProperties(object);
    auto* element = GST_ELEMENT_CLASS(type);
    gst_element_class_set_static_metadata(
        element, "Infrared super-resolution", "Filter/Effect/Video",
        "Makes an image of twice the width and height for each frame, out of it and those before it",
        "oravo super-resolution");
    for (const auto& [name, direction] : {std::pair{"sink", GST_PAD_SINK}, std::pair{"src", GST_PAD_SRC}}) {
        GstCaps* caps = gst_caps_from_string(kCaps);
        gst_element_class_add_pad_template(element,
                                           gst_pad_template_new(name, direction, GST_PAD_ALWAYS, caps));
        gst_caps_unref(caps);
    }
    auto* transform = GST_BASE_TRANSFORM_CLASS(type);
    transform->transform_caps = transformCaps;
    transform->sink_event = sinkEvent;
    transform->query = query;
    transform->stop = stop;
    auto* video = GST_VIDEO_FILTER_CLASS(type);
    video->set_info = setInfo;
    video->transform_frame = transformFrame;
}

void oravo_superres_init(OravoSuperres* element) {
    element->options = new FilterOptions;
    element->filter = new std::unique_ptr<FrameFilter>;
    element->refusal = new std::string;
}

}  // namespace

GType elementType() {
    return oravo_superres_get_type();
}

}  // namespace oravo::gstreamer
