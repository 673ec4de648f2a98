#include "tools/report/Layers.h"

#include <cmath>

#include "tools/base/Messages.h"
#include "tools/measure/Metrics.h"
#include "tools/pictures/Preview.h"
#include "tools/report/ReportText.h"

namespace oravo::tools {
namespace {

// About 4 MB of text for an image, and 1.3 for a map.
constexpr int kMostValues = 1500000;
constexpr int kMostMapValues = 500000;
constexpr double kWeightStep = 0.1;  // frames

/// What the colour of pixels without a value stands for, to follow a caption (markup); empty where there are none.
std::string noValueText(const cv::Mat_<float>& image, const ColourScale& scale, const char* reason) {
    const int pixels = countWithoutValue(image);
    if (pixels == 0) return "";
    const cv::Vec3b colour = scale.noValue();
    return format("<br><i class=\"key\" style=\"background:#%02x%02x%02x\"></i>no value: ", colour[2],
                  colour[1], colour[0]) +
           counted(static_cast<std::size_t>(pixels), "pixel") + ", " + reason;
}

/// Beside what the frame shows there, since the image may overshoot it.
std::string spotText(const char* name, const Spots::Spot& spot, const Report& r) {
    const auto frameValue = static_cast<float>(referenceValueAt(r, spot.at));
    return format("; %s %s at (%d, %d), ", name, htmlText(valueText(spot.value, r.scale, r.unit)).c_str(),
                  spot.at.x, spot.at.y) +
           (std::isnan(frameValue)
                ? "where the reference frame is defective"
                : "where the reference frame shows " + htmlText(valueText(frameValue, r.scale, r.unit)));
}

Layer frameLayer(const Report& r, double finest) {
    return {"frame",
            "Frame",
            true,
            "image",
            r.reference,
            r.scale,
            r.unit,
            format("<b>Before</b>: the reference frame, %d x %d pixels", r.reference.cols, r.reference.rows) +
                noValueText(r.reference, r.scale, "defective"),
            "reference frame {}",
            ValueGrid(r.reference, kMostValues, finest)};
}

Layer bicubicLayer(const Report& r) {
    return {"bicubic",
            "Bicubic",
            true,
            "image",
            bicubic(repaired(r.reference), r.image.size()),
            r.scale,
            r.unit,
            "<b>Bicubic enlargement</b> of the reference frame",
            "",
            {}};
}

Layer imageLayer(const Report& r, double finest) {
    std::string caption = format("<b>After</b>: the image, %d x %d pixels", r.image.cols, r.image.rows);
    if (const std::optional<Spots> spots = Spots::of(r.image)) {
        caption += spotText("hottest", spots->hottest, r) + spotText("coldest", spots->coldest, r);
    }
    return {"image",
            "Image",
            false,
            "image",
            r.image,
            r.scale,
            r.unit,
            caption + noValueText(r.image, r.scale, "where all frames are defective (NaN in the file)"),
            "image {}",
            ValueGrid(r.image, kMostValues, finest)};
}

Layer deviationLayer(const Report& r, double median) {
    constexpr double kClipped = 1.0;  // percent: a few edges would hide the rest
    const ColourScale scale = ColourScale::of(r.noise, paletteNamed("inferno"), kClipped);
    const std::string in = htmlText(figure(median, r.unit)) + " in the median.";
    return {"deviation",
            r.precise ? "Standard deviation" : "Noise",
            false,
            "deviation",
            r.noise,
            scale,
            r.unit,
            r.precise ? "<b>Standard deviation</b> of the image's noise, " + in +
                            noValueText(r.noise, scale, "where no frame has one")
                      : "<b>Noise</b>: how far the frames scatter around the image (standard deviation), " +
                            in + " Edges that the image cannot explain and things that moved stand out." +
                            noValueText(r.noise, scale, "where no two frames are valid"),
            r.precise ? "standard deviation {}" : "noise of the frames {}",
            ValueGrid(r.noise, kMostMapValues, harmlessStep(median))};
}

Layer weightLayer(const Report& r) {
    const int frames = static_cast<int>(r.frames.size());
    const cv::Mat_<float> weight = weightOf(r);
    int few = 0;
    for (const float value : weight) few += value < 1.5f ? 1 : 0;
    const char* what = r.precise ? "how many frames' worth of values each pixel rests on"
                                 : "how many frames are valid at each pixel";
    return {
        "weight",
        "Weight",
        false,
        "weight",
        weight,
        {0.0, static_cast<double>(frames), coveragePalette(), false, false},
        "frames",
        format(
            "<b>Weight</b>: %s, %s of %d in the median; %s of the image rests on less than one and a half.",
            what, figure(medianOf(weight), "", 3).c_str(), frames,
            percent(few / static_cast<double>(weight.total())).c_str()),
        "rests on {}' worth of values",
        ValueGrid(weight, kMostMapValues, kWeightStep)};
}

}  // namespace

std::vector<Layer> layersOf(const Report& r) {
    const double median = medianOf(r.noise);
    std::vector<Layer> layers{frameLayer(r, harmlessStep(median)), bicubicLayer(r),
                              imageLayer(r, harmlessStep(median))};
    if (countWithoutValue(r.noise) < static_cast<int>(r.noise.total()))
        layers.push_back(deviationLayer(r, median));
    if (!r.coverage.empty()) layers.push_back(weightLayer(r));
    return layers;
}

std::string valueNote(const std::vector<Layer>& layers) {
    std::string rounded, thinned;
    for (const Layer& layer : layers) {
        if (!layer.grid) continue;
        const std::string name = layer.id == "frame" ? "frame" : layer.id == "image" ? "image" : layer.name;
        rounded += (rounded.empty() ? "" : ", ") + name + " to " + figure(layer.grid->step, layer.unit, 1);
        if (layer.grid->stride > 1)
            thinned += format(" Of the %s, one pixel in %d x %d is kept.", name.c_str(), layer.grid->stride,
                              layer.grid->stride);
    }
    return "Values under the pointer are rounded (" + rounded + "); the files hold all digits." + thinned;
}

}  // namespace oravo::tools
