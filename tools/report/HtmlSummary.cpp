#include "tools/base/MarkupText.h"
#include "tools/base/Messages.h"
#include "tools/pictures/Preview.h"
#include "tools/report/HtmlParts.h"
#include "tools/report/ReportText.h"

namespace oravo::tools {
namespace {

/// How a level looks: its class in the style sheet, and a sign for those who see no colours.
std::pair<const char*, const char*> lookOf(Verdict::Level level) {
    switch (level) {
        case Verdict::Level::better:
            return {"good", "&#10003;"};
        case Verdict::Level::caution:
            return {"caution", "&#9888;"};
        case Verdict::Level::doubtful:
            return {"bad", "&#10007;"};
        case Verdict::Level::unmeasured:
            break;
    }
    return {"unknown", "?"};
}

/// A name, its figure, and what there is to add (plain text).
std::string tile(const std::string& name, const std::string& value, const std::string& more = "") {
    return "<div class=\"tile\"><dt>" + markupText(name) + "</dt><dd>" + markupText(value) + "</dd>" +
           (more.empty() ? "" : "<dd>" + markupText(more) + "</dd>") + "</div>\n";
}

std::string deviationTile(const Report& r) {
    const DeviationFigures all = deviationOf(r);
    const std::string more = all.known ? format("95 %% of the pixels below %s; worst %s at (%d, %d)",
                                                figure(all.most, r.unit).c_str(),
                                                figure(all.worst, r.unit).c_str(), all.at.x, all.at.y)
                                       : "";
    return tile(r.precise ? "Standard deviation of a pixel, median" : "Noise of the frames, median",
                figure(all.median, r.unit), more);
}

std::string framesTile(const Report& r) {
    std::vector<std::size_t> numbers;
    std::string reference;
    for (const ReportedFrame& frame : r.frames) {
        numbers.push_back(frame.number);
        if (frame.status == kReference) reference = format("; reference %zu", frame.number);
    }
    std::string left;
    if (!r.leftOut.empty()) left = format("; %zu left out", r.leftOut.size());
    return tile("Frames used", format("%zu of %zu", r.frames.size(), r.recorded),
                ranges(numbers) + reference + left);
}

std::string agreementTiles(const Report& r) {
    if (r.precise) {
        return tile("Noise of the frames", figure(r.precise->noise, r.unit)) +
               tile("Rests on the reference frame alone", percent(r.precise->shareOnReference),
                    "of the image");
    }
    double least = 1.0;
    for (const ReportedFrame& frame : r.frames) {
        if (!(frame.validShare >= least)) least = frame.validShare;
    }
    return tile("Valid pixels of the worst frame", percent(least));
}

std::string biasTile(const Report& r) {
    if (!r.flatBias) return "";
    return tile("Bias in flat areas", figure(r.flatBias->difference, r.unit),
                "standard error " + figure(r.flatBias->error, r.unit) + "; image less reference frame");
}

std::string spotTile(const Report& r, const char* name, const Spots::Spot& spot) {
    const auto frameValue = static_cast<float>(referenceValueAt(r, spot.at));
    return tile(name, valueText(spot.value, r.scale, r.unit),
                format("at (%d, %d); the frame ", spot.at.x, spot.at.y) +
                    (std::isnan(frameValue) ? "is defective there"
                                            : "shows " + valueText(frameValue, r.scale, r.unit)));
}

std::string list(const char* heading, const char* kind, const std::vector<std::string>& items) {
    std::string text = format("<section class=\"notes\"><h2>%s</h2>\n", heading);
    if (items.empty()) return text + "<p>Nothing.</p></section>\n";
    text += std::string("<ul class=\"") + kind + "\">\n";
    for (const std::string& item : items) text += "<li>" + markupText(item) + "</li>\n";
    return text + "</ul></section>\n";
}

}  // namespace

std::string verdictPart(const Report& r, const Verdict& verdict, const std::string& name) {
    const auto [look, sign] = lookOf(verdict.level);
    const std::size_t newest = r.images.back().newest;
    return format("<header class=\"verdict %s\"><p class=\"about\">Super-resolution report: ", look) +
           markupText(name) +
           (r.images.size() > 1 ? format(", the last of %zu images, of frame %zu", r.images.size(), newest)
                                : "") +
           "</p>\n<h1><span aria-hidden=\"true\">" + sign + "</span> " + markupText(verdict.headline) +
           "</h1>\n<p>" + markupText(verdict.explanation) + "</p></header>";
}

std::string figuresPart(const Report& r) {
    std::string text = "<dl class=\"tiles\">\n" + deviationTile(r) + framesTile(r) + agreementTiles(r) +
                       tile("Sub-pixel quarters with a frame", format("%d of 4", phasesReached(r.frames))) +
                       biasTile(r);
    if (const std::optional<Spots> spots = Spots::of(r.image)) {
        text += spotTile(r, "Hottest pixel", spots->hottest) + spotTile(r, "Coldest pixel", spots->coldest);
    }
    return text + "</dl>";
}

std::string leftOutPart(const Report& r) {
    return list("Left out or corrected, and why", "", leftOutOf(r));
}

std::string warningsPart(const Report& r) {
    std::vector<std::string> items;
    for (const Guard& guard : warningsOf(r)) {
        items.push_back(guard.text + (guard.action.empty() ? "" : "; " + guard.action));
    }
    return items.empty() ? "" : list("Warnings", "caution", items);
}

}  // namespace oravo::tools
