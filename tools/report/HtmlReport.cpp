#include <filesystem>
#include <map>

#include "tools/base/MarkupText.h"
#include "tools/report/HtmlParts.h"
#include "tools/report/Layers.h"
#include "tools/report/PageFiles.h"
#include "tools/report/Report.h"
#include "tools/report/ReportText.h"

namespace oravo::tools {
namespace {

/// The page with {{name}} replaced by the part of that name, once each; nothing in the parts is replaced.
std::string filled(const std::string& page, const std::map<std::string, std::string>& parts) {
    std::string text;
    std::size_t from = 0;
    for (std::size_t open = page.find("{{"); open != std::string::npos; open = page.find("{{", from)) {
        const std::size_t close = page.find("}}", open);
        text += page.substr(from, open - from) + parts.at(page.substr(open + 2, close - open - 2));
        from = close + 2;
    }
    return text + page.substr(from);
}

}  // namespace

std::string htmlReport(const Report& r) {
    const std::filesystem::path file(r.output);
    const std::string name = file.has_filename() ? file.filename().string() : r.output;
    const Verdict verdict = verdictOn(r);
    const std::vector<Layer> layers = layersOf(r);
    std::string figures;
    for (const Layer& layer : layers) figures += layerFigure(layer);
    return filled(kPage, {{"title", markupText(name + ": " + verdict.headline)},
                          {"style", kPageStyle},
                          {"verdict", verdictPart(r, verdict, name)},
                          {"figures", figuresPart(r)},
                          {"left_out", leftOutPart(r)},
                          {"warnings", warningsPart(r)},
                          {"layers", figures},
                          {"value_note", markupText(valueNote(layers))},
                          {"frames", framesPart(r)},
                          {"radiometry", radiometryPart(r)},
                          {"images", imagesPart(r)},
                          {"facts", factsPart(r)},
                          {"data", viewerData(r, layers)},
                          {"script", kPageScript}});
}

}  // namespace oravo::tools
