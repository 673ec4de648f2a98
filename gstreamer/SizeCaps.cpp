#include "gstreamer/SizeCaps.h"

#include <algorithm>
#include <limits>

namespace oravo::gstreamer {
namespace {

constexpr int kLargest = std::numeric_limits<int>::max();

struct Range {
    int least, most;
};

/// The numbers that a field allows; all where it says nothing. Lists are rare for sizes and taken for the range they span.
Range rangeOf(const GValue* value) {
    if (value != nullptr && G_VALUE_HOLDS_INT(value)) return {g_value_get_int(value), g_value_get_int(value)};
    if (value != nullptr && GST_VALUE_HOLDS_INT_RANGE(value)) {
        return {gst_value_get_int_range_min(value), gst_value_get_int_range_max(value)};
    }
    Range all{1, kLargest};
    if (value == nullptr || !GST_VALUE_HOLDS_LIST(value) || gst_value_list_get_size(value) == 0) return all;
    Range span{kLargest, 1};
    for (guint i = 0; i < gst_value_list_get_size(value); ++i) {
        const Range one = rangeOf(gst_value_list_get_value(value, i));
        span = {std::min(span.least, one.least), std::max(span.most, one.most)};
    }
    return span;
}

Range doubled(Range range) {
    return {std::min(range.least, kLargest / 2) * 2, range.most > kLargest / 2 ? kLargest : 2 * range.most};
}

Range halved(Range range) {
    return {std::max(range.least / 2 + range.least % 2, 1), range.most / 2};
}

/// False where no size is left.
bool setSide(GstStructure* structure, const char* side, Range (*scaled)(Range)) {
    const Range range = scaled(rangeOf(gst_structure_get_value(structure, side)));
    if (range.least > range.most) return false;
    if (range.least == range.most) {
        gst_structure_set(structure, side, G_TYPE_INT, range.least, nullptr);
    } else {
        gst_structure_set(structure, side, GST_TYPE_INT_RANGE, range.least, range.most, nullptr);
    }
    return true;
}

GstCaps* scaledCaps(const GstCaps* caps, Range (*scaled)(Range)) {
    GstCaps* result = gst_caps_new_empty();
    for (guint i = 0; i < gst_caps_get_size(caps); ++i) {
        GstStructure* structure = gst_structure_copy(gst_caps_get_structure(caps, i));
        if (setSide(structure, "width", scaled) && setSide(structure, "height", scaled)) {
            gst_caps_append_structure_full(result, structure,
                                           gst_caps_features_copy(gst_caps_get_features(caps, i)));
        } else {
            gst_structure_free(structure);
        }
    }
    return result;
}

}  // namespace

GstCaps* enlargedCaps(const GstCaps* caps) {
    return scaledCaps(caps, doubled);
}

GstCaps* frameCaps(const GstCaps* caps) {
    return scaledCaps(caps, halved);
}

}  // namespace oravo::gstreamer
