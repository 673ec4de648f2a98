#ifndef ORAVO_TOOLS_REPORT_LAYERS_H
#define ORAVO_TOOLS_REPORT_LAYERS_H

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/report/Report.h"
#include "tools/report/ValueGrid.h"

namespace oravo::tools {

/// One of the pictures of a report. All of them show the same part of the scene.
struct Layer {
    std::string id;       ///< in the page
    std::string name;     ///< of the button that shows it
    std::string noun;     ///< of its values, in sentences
    std::string scaleId;  ///< of the layer whose colour bar it shares; its own id where it has one of its own
    ColourScale scale;
    std::string unit;
    cv::Mat_<float> values;
    bool left = false;                   ///< of the slider; else right
    std::string caption = {};            ///< markup
    std::string reading = {};            ///< in which {} is the value under the pointer
    std::optional<ValueGrid> grid = {};  ///< of these values; none where they are not shown
};

/// The reference frame and its bicubic enlargement, the image, and the maps that there are.
std::vector<Layer> layersOf(const Report& report);

/// The layer as a figure (markup), with a bar of its colours.
std::string layerFigure(const Layer& layer);

/// What the page's script reads: layers with their values, and the places to begin at.
std::string viewerData(const Report& report, const std::vector<Layer>& layers);

/// How values were rounded and thinned out, in words.
std::string valueNote(const std::vector<Layer>& layers);

}  // namespace oravo::tools

#endif
