// The element between pads: what it answers and how it takes what is no frame.

#include <gst/check/gstharness.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr char kCaps[] = "video/x-raw,format=GRAY16_LE,width=32,height=24,framerate=25/1";
constexpr std::size_t kPixels = 32 * 24;

class Element : public ::testing::Test {
  protected:
    Element() : harness_(gst_harness_new("oravosuperres")), bus_(gst_bus_new()) {
        g_object_set(harness_->element, "nuc", TRUE, nullptr);
        gst_util_set_object_arg(G_OBJECT(harness_->element), "pipeline", "float");
        gst_element_set_bus(harness_->element, bus_);
        gst_harness_set_src_caps_str(harness_, kCaps);
    }
    ~Element() override {
        gst_element_set_bus(harness_->element, nullptr);
        gst_object_unref(bus_);
        gst_harness_teardown(harness_);
    }

    static std::string capsOf(int width, int height) {
        return "video/x-raw,format=GRAY16_LE,framerate=25/1,width=" + std::to_string(width) +
               ",height=" + std::to_string(height);
    }

    /// The error on the bus; empty for none.
    std::string error() {
        GstMessage* message = gst_bus_pop_filtered(bus_, GST_MESSAGE_ERROR);
        if (message == nullptr) return {};
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        std::string text = error->message;
        g_error_free(error);
        gst_message_unref(message);
        return text;
    }

    /// The size of frames that the element takes, as text.
    std::string sizesTaken() {
        GstPad* pad = gst_element_get_static_pad(harness_->element, "sink");
        GstCaps* caps = gst_pad_query_caps(pad, nullptr);
        gst_object_unref(pad);
        std::string text = gst_caps_is_empty(caps) != FALSE ? "none" : "";
        for (const char* side : {"width", "height"}) {
            if (!text.empty()) break;
            gchar* value =
                gst_value_serialize(gst_structure_get_value(gst_caps_get_structure(caps, 0), side));
            text = value;
            g_free(value);
        }
        gst_caps_unref(caps);
        return text;
    }

    /// The image for a frame of a pattern that stands where the number says.
    std::string imageFor(int number) {
        std::vector<guint16> counts(kPixels);
        for (std::size_t i = 0; i < kPixels; ++i) {
            const double x = static_cast<double>(i % 32) + 0.37 * number;
            const double y = static_cast<double>(i / 32) - 0.61 * number;
            counts[i] = static_cast<guint16>(9000 + 900 * std::sin(x / 2.3) * std::cos(y / 2.9) +
                                             400 * std::sin((x + 2 * y) / 7) * std::cos((x - y) / 3.1));
        }
        GstBuffer* frame = gst_buffer_new_allocate(nullptr, 2 * kPixels, nullptr);
        gst_buffer_fill(frame, 0, counts.data(), 2 * kPixels);
        GstBuffer* image = gst_harness_push_and_pull(harness_, frame);
        std::string bytes(gst_buffer_get_size(image), '\0');
        gst_buffer_extract(image, 0, bytes.data(), bytes.size());
        gst_buffer_unref(image);
        return bytes;
    }
    std::vector<std::string> imagesFrom(int first) {
        std::vector<std::string> images;
        for (int i = first; i < first + 6; ++i) images.push_back(imageFor(i));
        return images;
    }

    GstHarness* harness_;
    GstBus* bus_;
};

TEST_F(Element, GivesOneImageOfTwiceTheSizeForEachFrame) {
    for (const std::string& image : imagesFrom(0)) EXPECT_EQ(image.size(), 8 * kPixels);
    GstCaps* caps = gst_pad_get_current_caps(harness_->sinkpad);
    const GstStructure* structure = gst_caps_get_structure(caps, 0);
    int width = 0, height = 0;
    EXPECT_TRUE(
        gst_structure_get(structure, "width", G_TYPE_INT, &width, "height", G_TYPE_INT, &height, nullptr));
    EXPECT_EQ(width, 64);
    EXPECT_EQ(height, 48);
    gst_caps_unref(caps);
}

TEST_F(Element, BeginsAnewAfterAFlushAndANewSize) {
    const std::vector<std::string> first = imagesFrom(0);
    EXPECT_TRUE(imagesFrom(1) != first);
    EXPECT_TRUE(imagesFrom(0) != first) << "frames before the first five of these count";
    gst_harness_push_event(harness_, gst_event_new_flush_start());
    gst_harness_push_event(harness_, gst_event_new_flush_stop(TRUE));
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    gst_harness_push_event(harness_, gst_event_new_segment(&segment));
    EXPECT_TRUE(imagesFrom(0) == first);
    gst_harness_set_src_caps_str(harness_, capsOf(24, 32).c_str());
    imageFor(0);
    gst_harness_set_src_caps_str(harness_, kCaps);
    EXPECT_TRUE(imagesFrom(0) == first);
}

TEST_F(Element, SettlesSizesFromEitherSide) {
    EXPECT_EQ(sizesTaken(), "[ 1, 1073741823 ]");
    const std::pair<const char*, const char*> kSizes[] = {
        {"width=130,height=98", "65"},
        {"width=[ 7, 91 ],height=98", "[ 4, 45 ]"},
        {"width={ 6, 90 },height=98", "{ (int)3, (int)45 }"},
        {"width={ 7, [ 8, 12 ] },height=98", "[ 4, 6 ]"},
        {"width=129,height=98", "none"},
        {"width=130,height=99", "none"},
        {"format=GRAY8,width=130,height=98", "none"}};
    for (const auto& [size, taken] : kSizes) {
        const bool counts = std::string(size).find("format") == std::string::npos;
        gst_harness_set_sink_caps_str(
            harness_, (std::string("video/x-raw,") + (counts ? "format=GRAY16_LE," : "") + size).c_str());
        EXPECT_EQ(sizesTaken(), taken) << size;
    }
}

TEST_F(Element, SaysWhatIsWrongOnTheBus) {
    g_object_set(harness_->element, "nuc", FALSE, nullptr);
    gst_harness_set_src_caps_str(harness_, capsOf(24, 16).c_str());
    GstBuffer* frame = gst_buffer_new_allocate(nullptr, 2 * 24 * 16, nullptr);
    gst_buffer_memset(frame, 0, 0x7f, 2 * 24 * 16);
    EXPECT_EQ(gst_harness_push(harness_, frame), GST_FLOW_ERROR);
    EXPECT_EQ(
        error(),
        "all pixels lie outside the plausible range -274 .. 5000, the most extreme is 32639 at (0, 0); set "
        "nuc for raw counts, or scale and offset to decode them to degrees");
    g_object_set(harness_->element, "scale", 0.0, nullptr);
    gst_harness_set_src_caps_str(harness_, capsOf(8, 8).c_str());
    EXPECT_EQ(error(), "scale: is 0; all counts would have one value");
    g_object_set(harness_->element, "scale", 1.0, nullptr);
    gst_harness_set_src_caps_str(harness_, capsOf(4, 2).c_str());
    EXPECT_EQ(error(),
              "caps: frames of 4 x 2 pixels are too small; aligning them by corners takes at least 3 x 3");
}

TEST_F(Element, ReportsTheTimeOfAFrameAsItsLatency) {
    imageFor(0);
    EXPECT_EQ(gst_harness_query_latency(harness_), GST_SECOND / 25);
}

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    gst_init(&argc, &argv);
    return RUN_ALL_TESTS();
}
