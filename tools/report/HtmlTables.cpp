#include <cmath>

#include "tools/base/MarkupText.h"
#include "tools/base/Messages.h"
#include "tools/report/HtmlParts.h"
#include "tools/report/ReportText.h"

namespace oravo::tools {
namespace {

constexpr std::size_t kMostPlaces = 24;  // of dead pixels, in a cell

std::string cell(const std::string& text, const char* kind = "n") {
    return std::string("<td class=\"") + kind + "\">" + text + "</td>";
}

/// A number and its standard error.
std::string withError(double value, double error) {
    return format("%.4f &plusmn; %.4f", value, error);
}

/// The columns of what the precise pipeline found out about a frame.
std::string fitCells(const ReportedFrame& frame) {
    if (!frame.fit) return "";
    const vision::SrPreciseFrame& fit = *frame.fit;
    const double turn = 0.5 * (fit.linear[1][0] - fit.linear[0][1]) * 180.0 / CV_PI;
    const double zoom = 0.5 * (fit.linear[0][0] + fit.linear[1][1]);
    return cell(format("%.2f&deg;", turn)) + cell(format("%.2f %%", 100.0 * zoom)) +
           cell(format("%.4f", fit.gain)) + cell(format("%.2g", fit.offset)) +
           cell(format("%.2g", fit.misfit));
}

/// The name without its folder, which stands among the facts.
std::string fileOf(const std::string& name) {
    return name.substr(name.rfind('/') + 1);
}

std::string frameRow(const ReportedFrame& f) {
    const bool isReference = f.status == kReference;
    const auto shift = [&](float d, double error) {
        return cell(isReference ? "0"
                    : f.fit     ? withError(static_cast<double>(d), error)
                                : format("%.3f", static_cast<double>(d)));
    };
    return "<tr>" + cell(std::to_string(f.number)) + cell(markupText(fileOf(f.name)), "wide") +
           shift(f.shift.x, f.fit ? f.fit->dxError : 0.0) + shift(f.shift.y, f.fit ? f.fit->dyError : 0.0) +
           fitCells(f) + cell(percent(f.validShare)) + cell(markupText(f.status), "") + "</tr>\n";
}

std::string decibelsText(const ReportedImage& image) {
    if (!image.decibels) return image.doubtful ? "doubtful" : "";
    return format("%.1f", *image.decibels) + (image.doubtful ? " (doubtful)" : "");
}

/// A table that may be scrolled sideways, by the keyboard too.
std::string scrolled(const std::string& name, const std::string& table) {
    return "<div class=\"card\" role=\"region\" tabindex=\"0\" aria-label=\"" + name + "\">" + table +
           "</div>\n";
}

std::string valueHtml(const Fact::Value& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return text->empty() ? "not given" : markupText(*text);
    if (const auto* number = std::get_if<double>(&value)) return format("%g", *number);
    if (const auto* yes = std::get_if<bool>(&value)) return *yes ? "yes" : "no";
    std::string all;
    for (const std::string& text : std::get<std::vector<std::string>>(value)) {
        all += (all.empty() ? "" : "<br>") + markupText(text);
    }
    return all;
}

std::string factTable(const char* name, const std::vector<Fact>& facts) {
    std::string text = std::string("<div class=\"card\"><table><caption>") + name + "</caption><tbody>\n";
    for (const Fact& fact : facts) {
        text += "<tr><th scope=\"row\">" + markupText(fact.name) + "</th>" +
                cell(valueHtml(fact.value), "wide") + "</tr>\n";
    }
    return text + "</tbody></table></div>\n";
}

std::vector<Fact> timings(const Report& r) {
    std::vector<Fact> facts;
    for (const vision::detail::StageTime& stage : r.stages) {
        facts.push_back({stage.name, format("%.2f ms", stage.milliseconds)});
    }
    facts.push_back({"last image", format("%.3f s", r.images.back().seconds)});
    facts.push_back({"whole run", format("%.2f s", r.seconds)});
    return facts;
}

std::string placesOf(const std::vector<cv::Point>& pixels) {
    std::string text;
    for (std::size_t i = 0; i < pixels.size() && i < kMostPlaces; ++i) {
        text += format("%s(%d, %d)", i == 0 ? "" : " ", pixels[i].x, pixels[i].y);
    }
    return text + (pixels.size() > kMostPlaces ? " ..." : "");
}

/// What the precise pipeline found out about scene and sensor.
std::vector<Fact> findings(const Report& r) {
    const vision::SrPreciseResult& p = *r.precise;
    std::vector<Fact> facts{{"contrast of the reference frame", figure(p.contrast, r.unit)},
                            {"noise of the frames", figure(p.noise, r.unit)},
                            {"smoothness that was used", p.smoothness},
                            {"withheld pixels", static_cast<double>(p.withheldPixels)},
                            {"leaning on the reference", percent(p.leaning)}};
    if (const std::optional<double> pattern = patternOf(r))
        facts.push_back({"fixed pattern", figure(*pattern, r.unit)});
    facts.push_back({"dead pixels", p.deadPixels.empty()
                                        ? std::string("none")
                                        : format("%zu: ", p.deadPixels.size()) + placesOf(p.deadPixels)});
    return facts;
}

}  // namespace

std::string framesPart(const Report& r) {
    const std::string unit = r.unit.empty() ? "" : ", " + markupText(r.unit);
    std::string head =
        "<table class=\"frames\"><thead><tr><th class=\"n\" scope=\"col\">Frame</th><th "
        "scope=\"col\">File</th>"
        "<th class=\"n\" scope=\"col\">Shift x</th><th class=\"n\" scope=\"col\">Shift y</th>";
    if (r.precise) {
        for (const std::string& name : {std::string("Turn"), std::string("Zoom"), std::string("Gain"),
                                        "Offset" + unit, "Misfit" + unit}) {
            head += "<th class=\"n\" scope=\"col\">" + name + "</th>";
        }
    }
    head += std::string("<th class=\"n\" scope=\"col\">") + (r.precise ? "Weight" : "Valid") +
            "</th><th scope=\"col\">Status</th></tr></thead><tbody>\n";
    for (const ReportedFrame& frame : r.frames) head += frameRow(frame);
    const int empty = r.precise ? 8 : 3;
    for (const LeftOutFrame& frame : r.leftOut) {
        head += "<tr>" + cell(std::to_string(frame.number)) + cell(markupText(fileOf(frame.name)), "wide") +
                format("<td colspan=\"%d\"></td>", empty) +
                cell(markupText("left out: " + frame.reason), "") + "</tr>\n";
    }
    return scrolled("Table of frames", head + "</tbody></table>") +
           "<p>Shifts are in pixels of a frame, x to the right, y down: what the reference frame shows at p, "
           "this frame shows at "
           "p + shift" +
           (r.precise ? "; after &plusmn; their standard errors. Frame = gain &times; scene + offset, about "
                        "the reference "
                        "frame's mean. Misfit: what the image leaves unexplained of the frame, as a standard "
                        "deviation. Weight: "
                        "how much the frame's pixels count on average.</p>\n"
                      : ". Valid: the share of its pixels that agree with the reference frame.</p>\n") +
           "<div class=\"facts\">\n" + phasesFigure(r) +
           (r.precise ? factTable("Scene and sensor, as found", findings(r)) : "") + "</div>\n";
}

std::string imagesPart(const Report& r) {
    if (r.images.size() < 2) return "";
    std::string text =
        "<table><thead><tr><th class=\"n\" scope=\"col\">Newest frame</th><th class=\"n\" scope=\"col\">dB "
        "over bicubic</th>"
        "<th class=\"n\" scope=\"col\">Gain</th><th class=\"n\" scope=\"col\">No value</th>"
        "<th class=\"n\" scope=\"col\">Time</th><th scope=\"col\">Warning</th></tr></thead><tbody>\n";
    for (const ReportedImage& image : r.images) {
        text += "<tr>" + cell(std::to_string(image.newest)) + cell(decibelsText(image)) +
                cell(image.gain > 0.0 && image.warning.empty() ? format("%.2f", image.gain) : "") +
                cell(std::to_string(image.withoutValue.total())) +
                cell(format("%.1f ms", 1e3 * image.seconds)) + cell(markupText(image.warning), "wide") +
                "</tr>\n";
    }
    return "<section aria-labelledby=\"images\">\n<h2 id=\"images\">All images of the recording</h2>\n" +
           scrolled("Table of images", text + "</tbody></table>") + "</section>";
}

std::string factsPart(const Report& r) {
    std::vector<Fact> origin = r.versions;
    origin.insert(origin.begin(), {{"file", r.output}, {"created", r.created}});
    return factTable("Input", r.input) + factTable("Parameters", r.parameters) +
           factTable("Time", timings(r)) + factTable("Origin", origin);
}

}  // namespace oravo::tools
