#include <nlohmann/json.hpp>

#include "tools/base/MarkupText.h"
#include "tools/base/Messages.h"
#include "tools/pictures/Preview.h"
#include "tools/pictures/Ticks.h"
#include "tools/report/Layers.h"
#include "tools/report/ReportText.h"

namespace oravo::tools {
namespace {

constexpr int kTicks = 6;  // at most, which are legible on a telephone

std::string rgb(const cv::Vec3b& colour) {
    return format("#%02x%02x%02x", colour[2], colour[1], colour[0]);
}

/// A bar of the scale's colours with round values below it (markup).
std::string colourBar(const Layer& layer) {
    constexpr int kStops = 32;
    const ColourScale& scale = layer.scale;
    std::string stops, ticks;
    for (int i = 0; i <= kStops; ++i) {
        stops += (i == 0 ? "" : ",") + rgb(scale.palette(i * (scale.palette.rows - 1) / kStops));
    }
    const Ticks values(scale.lowest, scale.highest, kTicks);
    const double span = scale.highest - scale.lowest;
    for (const double value : values.values) {
        ticks +=
            format("<span class=\"tick\" style=\"left:%.2f%%\">%s</span>",
                   span > 0.0 ? 100.0 * (value - scale.lowest) / span : 50.0, values.text(value).c_str());
    }
    std::string clipped = scale.clipsBelow && scale.clipsAbove ? "values beyond both ends have their colours"
                          : scale.clipsBelow                   ? "values below have the first colour"
                          : scale.clipsAbove                   ? "values above have the last colour"
                                                               : "";
    return "<div class=\"bar\"><div class=\"name\"><span>" +
           markupText(layer.scaleId == "image" ? "Frame and image" : layer.name) +
           (layer.unit.empty() ? "" : ", " + markupText(layer.unit)) + "</span><span>" + clipped +
           "</span></div><div class=\"track\"><div class=\"colours\" style=\"background:linear-gradient(to "
           "right," +
           stops + ")\"></div>" + ticks + "</div></div>\n";
}

nlohmann::ordered_json layerData(const Layer& layer, int factor) {
    nlohmann::ordered_json data{{"id", layer.id},
                                {"name", layer.name},
                                {"side", layer.left ? "left" : "right"},
                                {"scale", layer.scaleId},
                                {"unit", layer.unit},
                                {"reading", layer.reading},
                                {"lowest", layer.scale.lowest},
                                {"highest", layer.scale.highest},
                                {"pixel", layer.id == "frame" ? factor : 1}};
    if (layer.grid) {
        data["stride"] = layer.grid->stride;
        data["columns"] = layer.grid->codes.cols;
        data["offset"] = layer.grid->offset;
        data["step"] = layer.grid->step;
        data["decimals"] = layer.grid->decimals;
        data["codes"] = base64(layer.grid->bytes());
    }
    return data;
}

std::string paletteText(const Palette& palette) {
    std::vector<uchar> bytes;
    for (const cv::Vec3b& colour : palette) bytes.insert(bytes.end(), {colour[2], colour[1], colour[0]});
    return base64(bytes);
}

}  // namespace

std::string layerFigure(const Layer& layer) {
    return "<figure id=\"layer-" + layer.id + "\"><img alt=\"" + markupText(layer.name) + "\" src=\"" +
           pngAddress(layer.scale.colours(layer.values)) + "\">\n" + colourBar(layer) + "<figcaption>" +
           layer.caption + "</figcaption></figure>\n";
}

std::string viewerData(const Report& r, const std::vector<Layer>& layers) {
    const int factor = r.image.cols / r.reference.cols;
    nlohmann::ordered_json data{{"width", r.image.cols},
                                {"height", r.image.rows},
                                {"factor", factor},
                                {"palette", paletteText(r.scale.palette)},
                                {"noValue", rgb(r.scale.noValue())},
                                {"start", {{"x", r.image.cols / 2}, {"y", r.image.rows / 2}}},
                                {"spots", nlohmann::ordered_json::array()},
                                {"layers", nlohmann::ordered_json::array()}};
    if (const std::optional<Spots> spots = Spots::of(r.image)) {
        const auto add = [&](const char* name, cv::Point at) {
            data["spots"].push_back({{"name", name}, {"x", at.x}, {"y", at.y}});
        };
        add("Hottest", spots->hottest.at);
        add("Coldest", spots->coldest.at);
        data["start"] = {{"x", spots->hottest.at.x}, {"y", spots->hottest.at.y}};
    }
    for (const Layer& layer : layers) data["layers"].push_back(layerData(layer, factor));
    const std::string text = data.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    // A unit may be any text, also one that would end the script.
    std::string safe;
    for (const char c : text) c == '<' ? safe += "\\u003c" : safe += c;
    return safe;
}

}  // namespace oravo::tools
