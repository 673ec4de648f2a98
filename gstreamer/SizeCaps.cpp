#include "gstreamer/SizeCaps.h"

#include <algorithm>
#include <limits>

namespace oravo::gstreamer {
namespace {

constexpr int kLargest = std::numeric_limits<int>::max();

struct Range {
    int least, most;
};

Range rangeOf(const GValue* value) {
    if (G_VALUE_HOLDS_INT(value)) return {g_value_get_int(value), g_value_get_int(value)};
    if (!GST_VALUE_HOLDS_INT_RANGE(value)) return {1, kLargest};
    return {gst_value_get_int_range_min(value), gst_value_get_int_range_max(value)};
}

Range doubled(Range range) {
    return {std::min(range.least, kLargest / 2) * 2, range.most > kLargest / 2 ? kLargest : 2 * range.most};
}

Range halved(Range range) {
    return {std::max(range.least / 2 + range.least % 2, 1), range.most / 2};
}

/// Appends a range to a list, as a number where it is one.
void append(Range range, GValue* list) {
    GValue value = G_VALUE_INIT;
    if (range.least == range.most) {
        g_value_init(&value, G_TYPE_INT);
        g_value_set_int(&value, range.least);
    } else {
        g_value_init(&value, GST_TYPE_INT_RANGE);
        gst_value_set_int_range(&value, range.least, range.most);
    }
    gst_value_list_append_and_take_value(list, &value);
}

void appendScaled(const GValue* value, Range (*scaled)(Range), GValue* list) {
    if (GST_VALUE_HOLDS_LIST(value)) {
        for (guint i = 0; i < gst_value_list_get_size(value); ++i)
            appendScaled(gst_value_list_get_value(value, i), scaled, list);
        return;
    }
    const Range range = scaled(rangeOf(value));
    if (range.least <= range.most) append(range, list);
}

/// A side that the caps say nothing about may have any length. False where none is left.
bool setSide(GstStructure* structure, const char* side, Range (*scaled)(Range)) {
    GValue list = G_VALUE_INIT;
    g_value_init(&list, GST_TYPE_LIST);
    const GValue* value = gst_structure_get_value(structure, side);
    if (value != nullptr) {
        appendScaled(value, scaled, &list);
    } else {
        append(scaled({1, kLargest}), &list);
    }
    const guint count = gst_value_list_get_size(&list);
    if (count != 0)
        gst_structure_set_value(structure, side, count == 1 ? gst_value_list_get_value(&list, 0) : &list);
    g_value_unset(&list);
    return count != 0;
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
