#include "tools/report/Layers.h"

#include <cmath>

#include "tools/base/MarkupText.h"
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
constexpr double kFewFrames = 1.5;

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
    return format("; %s %s at (%d, %d), ", name, markupText(valueText(spot.value, r.scale, r.unit)).c_str(),
                  spot.at.x, spot.at.y) +
           (std::isnan(frameValue)
                ? "where the reference frame is defective"
                : "where the reference frame shows " + markupText(valueText(frameValue, r.scale, r.unit)));
}

Layer frameLayer(const Report& r, double finest) {
    Layer layer{"frame", "Frame", "reference frame", "image", r.scale, r.unit, r.reference};
    layer.left = true;
    layer.caption =
        format("<b>Before</b>: the reference frame, %d x %d pixels", r.reference.cols, r.reference.rows) +
        noValueText(r.reference, r.scale, "defective");
    layer.reading = "reference frame {}";
    layer.grid = ValueGrid(r.reference, kMostValues, finest);
    return layer;
}

Layer bicubicLayer(const Report& r) {
    Layer layer{"bicubic",
                "Bicubic",
                "bicubic enlargement",
                "image",
                r.scale,
                r.unit,
                bicubic(repaired(r.reference), r.image.size())};
    layer.left = true;
    layer.caption = "<b>Bicubic enlargement</b> of the reference frame";
    return layer;
}

Layer imageLayer(const Report& r, double finest) {
    Layer layer{"image", "Image", "image", "image", r.scale, r.unit, r.image};
    layer.caption = format("<b>After</b>: the image, %d x %d pixels", r.image.cols, r.image.rows);
    if (const std::optional<Spots> spots = Spots::of(r.image)) {
        layer.caption += spotText("hottest", spots->hottest, r) + spotText("coldest", spots->coldest, r);
    }
    layer.caption += noValueText(r.image, r.scale, "where all frames are defective (NaN in the file)");
    layer.reading = "image {}";
    layer.grid = ValueGrid(r.image, kMostValues, finest);
    return layer;
}

Layer deviationLayer(const Report& r, double median) {
    constexpr double kClipped = 1.0;  // percent: a few edges would hide the rest
    const ColourScale scale = ColourScale::of(r.noise, paletteNamed("inferno"), kClipped);
    const std::string inMedian = markupText(figure(median, r.unit)) + " in the median.";
    Layer layer{"deviation", "Standard deviation", "standard deviation", "deviation", scale, r.unit, r.noise};
    layer.caption = "<b>Standard deviation</b> of the image's noise, " + inMedian +
                    noValueText(r.noise, scale, "where no frame has one");
    if (!r.precise) {
        layer.name = "Noise";
        layer.noun = "noise of the frames";
        layer.caption = "<b>Noise</b>: how far the frames scatter around the image (standard deviation), " +
                        inMedian + " Edges that the image cannot explain and things that moved stand out." +
                        noValueText(r.noise, scale, "where no two frames are valid");
    }
    layer.reading = layer.noun + " {}";
    layer.grid = ValueGrid(r.noise, kMostMapValues, harmlessStep(median));
    return layer;
}

Layer weightLayer(const Report& r) {
    const int frames = static_cast<int>(r.frames.size());
    const cv::Mat_<float> weight = weightOf(r);
    const ColourScale scale = ColourScale::within(0.0, frames, weight, coveragePalette());
    Layer layer{"weight", "Weight", "weight", "weight", scale, "frames", weight};
    const double few = cv::countNonZero(weight < kFewFrames) / static_cast<double>(weight.total());
    layer.caption = std::string("<b>Weight</b>: ") +
                    (r.precise ? "how many frames' worth of values each pixel rests on"
                               : "how many frames are valid at each pixel") +
                    format(", %s of %d in the median; %s of the image rests on less than one and a half.",
                           figure(medianOf(weight), "", 3).c_str(), frames, percent(few).c_str());
    layer.reading = "rests on {}' worth of values";
    layer.grid = ValueGrid(weight, kMostMapValues, kWeightStep);
    return layer;
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
        rounded +=
            (rounded.empty() ? "" : ", ") + layer.noun + " to " + figure(layer.grid->step, layer.unit, 1);
        if (layer.grid->stride > 1)
            thinned += format(" Of the %s, one pixel in %d x %d is kept.", layer.noun.c_str(),
                              layer.grid->stride, layer.grid->stride);
    }
    return "Values under the pointer are rounded (" + rounded + "); the files hold all digits." + thinned;
}

}  // namespace oravo::tools
