#include <algorithm>
#include <cmath>
#include <filesystem>
#include <opencv2/imgproc.hpp>

#include "tools/base/Messages.h"
#include "tools/measure/Metrics.h"
#include "tools/pictures/Comparison.h"
#include "tools/pictures/Preview.h"
#include "tools/pictures/Ticks.h"
#include "tools/report/HtmlText.h"
#include "tools/report/Report.h"

namespace oravo::tools {
namespace {

constexpr char kStyle[] = R"(
:root { --ink:#1d2330; --soft:#5b6475; --line:#dde1e8; --ground:#f5f6f8; --card:#fff; --warn:#8a4b00; --warn-ground:#fff4e0; }
* { box-sizing:border-box; }
body { margin:0; background:var(--ground); color:var(--ink); font:15px/1.5 system-ui,"DejaVu Sans",sans-serif; }
main { max-width:1200px; margin:0 auto; padding:28px 24px 48px; }
h1 { font-size:26px; margin:0; }
h2 { font-size:18px; margin:36px 0 12px; }
p, .soft { color:var(--soft); } p { margin:4px 0 12px; max-width:75ch; }
.tiles { display:grid; grid-template-columns:repeat(auto-fit,minmax(165px,1fr)); gap:12px; margin-top:20px; }
.tile, figure, .card { background:var(--card); border:1px solid var(--line); border-radius:8px; }
.tile { padding:12px 14px; } .tile b { display:block; font-size:22px; line-height:1.3; }
.tile span { color:var(--soft); font-size:13px; }
.notes { background:var(--warn-ground); border:1px solid #f0d5a5; border-radius:8px; color:var(--warn); padding:10px 16px; margin-top:20px; }
.notes ul { margin:4px 0; padding-left:20px; }
.pair { display:grid; grid-template-columns:1fr 1fr auto; gap:14px; align-items:start; }
.three { display:grid; grid-template-columns:repeat(auto-fit,minmax(min(330px,100%),1fr)); gap:14px; align-items:start; }
figure { margin:0; padding:10px; min-width:0; }
figcaption { color:var(--soft); font-size:13px; padding-top:8px; }
figcaption b { color:var(--ink); }
.picture { position:relative; line-height:0; }
.picture img, .three img { width:100%; image-rendering:pixelated; border-radius:4px; }
.spot { position:absolute; width:16px; height:16px; margin:-8px 0 0 -8px; border:2px solid #fff; border-radius:50%; box-shadow:0 0 0 2px #000, inset 0 0 0 1px #000; }
.place { position:absolute; border:2px solid #fff; box-shadow:0 0 0 1px #000; }
.bar { width:86px; } .bar text, .cell text { font:12px system-ui,"DejaVu Sans",sans-serif; fill:var(--ink); }
.withbar { display:grid; grid-template-columns:1fr auto; gap:8px; }
table { border-collapse:collapse; width:100%; font-variant-numeric:tabular-nums; }
.card { overflow-x:auto; padding:4px 14px; }
th, td { text-align:left; padding:7px 14px 7px 0; border-bottom:1px solid var(--line); vertical-align:top; }
tr:last-child td { border-bottom:0; } th { font-weight:600; color:var(--soft); font-size:13px; }
td.n, th.n { text-align:right; } td.name { white-space:nowrap; } td.wide { overflow-wrap:anywhere; }
.frames { min-width:640px; } .images { width:auto; }
.legend > span { display:inline-block; white-space:nowrap; margin-right:10px; }
.key { display:inline-block; width:12px; height:12px; border:1px solid #555; margin:0 5px -1px 0; }
.meter { display:inline-block; width:80px; height:8px; background:var(--line); border-radius:4px; margin-right:8px; }
.meter i { display:block; height:8px; background:#3b6fb5; border-radius:4px; }
@media (max-width:760px) { .pair { grid-template-columns:1fr; } main { padding:18px 14px; } }
@media print { body { background:#fff; } figure, tr, .tile { break-inside:avoid; } }
)";

std::string percent(double share) {
    if (std::isnan(share)) return "unknown";
    const double value = 100.0 * share;
    // 99.97 % must not print as 100.0 %.
    return value > 99.95 && value < 100.0 ? ">99.9 %" : format("%.1f %%", value);
}

std::string rgb(const cv::Vec3b& colour) {
    return format("#%02x%02x%02x", colour[2], colour[1], colour[0]);
}

std::string withUnit(const std::string& number, const std::string& unit) {
    return htmlText(unit.empty() ? number : number + " " + unit);
}

std::string significant(double value, const std::string& unit) {
    return std::isfinite(value) ? withUnit(format("%.2g", value), unit) : "not known";
}

std::string tile(const std::string& value, const std::string& name) {
    return "<div class=tile><b>" + value + "</b><span>" + name + "</span></div>\n";
}

/// A vertical scale of colours with round values.
std::string colourBar(const ColourScale& scale, const std::string& unit) {
    constexpr int kTop = 28;
    constexpr int kHeight = 260;
    const int last = scale.palette.rows - 1;
    std::string text = format("<svg class=bar viewBox=\"0 0 86 %d\" role=img aria-label=\"colour scale\">",
                              kTop + kHeight + 22);
    for (int i = 0; i <= last; ++i) {
        const double top = kTop + kHeight * (1.0 - (i + 1.0) / (last + 1.0));
        text += format("<rect x=0 y=%.2f width=18 height=%.2f fill=\"%s\"/>", top,
                       kHeight / (last + 1.0) + 0.6, rgb(scale.palette(i)).c_str());
    }
    const auto arrow = [&](int base, int tip, int colour) {
        text += format("<path d=\"M0 %d H18 L9 %d Z\" fill=\"%s\" stroke=\"#333\"/>", base, tip,
                       rgb(scale.palette(colour)).c_str());
    };
    if (scale.clipsAbove) arrow(kTop, kTop - 9, last);
    if (scale.clipsBelow) arrow(kTop + kHeight, kTop + kHeight + 9, 0);
    const Ticks ticks(scale.lowest, scale.highest, 9);
    const double span = scale.highest - scale.lowest;
    for (const double value : ticks.values) {
        const double y = kTop + kHeight * (span > 0.0 ? 1.0 - (value - scale.lowest) / span : 0.5);
        text += format("<path d=\"M18 %.1f h5\" stroke=\"#333\"/><text x=27 y=%.1f>%s</text>", y, y + 4.0,
                       ticks.text(value).c_str());
    }
    return text + "<text x=0 y=14>" + htmlText(unit) + "</text></svg>\n";
}

std::string imageTag(const cv::Mat& picture, const std::string& what) {
    return "<img alt=\"" + what + "\" src=\"" + pngAddress(picture) + "\">";
}

/// The part of the image that is magnified: where it has most structure.
cv::Rect detailOf(const cv::Mat_<float>& image) {
    const cv::Size size(std::max(image.cols / 5 / 2 * 2, 2), std::max(image.rows / 5 / 2 * 2, 2));
    const cv::Rect place =
        richestPlace(image, {std::min(size.width, image.cols), std::min(size.height, image.rows)});
    return {place.x / 2 * 2, place.y / 2 * 2, place.width, place.height};
}

std::string overlay(const char* kind, cv::Rect2d place, cv::Size image) {
    const auto share = [](double part, int whole) { return 100.0 * part / whole; };
    std::string text = format("<i class=%s style=\"left:%.2f%%;top:%.2f%%", kind, share(place.x, image.width),
                              share(place.y, image.height));
    if (place.area() > 0.0)
        text += format(";width:%.2f%%;height:%.2f%%", share(place.width, image.width),
                       share(place.height, image.height));
    return text + "\"></i>";
}

/// What the colour of pixels without a value stands for, to follow a caption; empty where there are none.
std::string noValueText(const cv::Mat_<float>& image, const ColourScale& scale, const char* reason) {
    const int pixels = countWithoutValue(image);
    if (pixels == 0) return "";
    return format("<br><i class=key style=\"background:%s\"></i>no value: %d pixel%s, ",
                  rgb(scale.noValue()).c_str(), pixels, pixels == 1 ? "" : "s") +
           reason;
}

std::string before(const Report& r, const cv::Rect& detail) {
    const cv::Rect2d low(detail.x / 2.0, detail.y / 2.0, detail.width / 2.0, detail.height / 2.0);
    return "<figure><div class=picture>" + imageTag(r.scale.colours(r.reference), "the reference frame") +
           overlay("place", low, r.reference.size()) +
           format("</div><figcaption><b>Before</b>: the reference frame, %d x %d pixels", r.reference.cols,
                  r.reference.rows) +
           noValueText(r.reference, r.scale, "defective") + "</figcaption></figure>\n";
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

std::string after(const Report& r, const cv::Rect& detail) {
    const std::optional<Spots> spots = Spots::of(r.image);
    std::string marks = overlay("place", detail, r.image.size());
    std::string caption = format("<b>After</b>: %d x %d pixels", r.image.cols, r.image.rows);
    if (spots) {
        for (const Spots::Spot& spot : {spots->hottest, spots->coldest}) {
            marks += overlay("spot", {spot.at.x + 0.5, spot.at.y + 0.5, 0.0, 0.0}, r.image.size());
        }
        caption += spotText("hottest", spots->hottest, r) + spotText("coldest", spots->coldest, r);
    }
    return "<figure><div class=picture>" + imageTag(r.scale.colours(r.image), "the enlarged image") + marks +
           "</div><figcaption>" + caption +
           noValueText(r.image, r.scale, "where all frames are defective (NaN in the file)") +
           "</figcaption></figure>\n";
}

std::string pictures(const Report& r) {
    const cv::Rect detail = detailOf(r.image);
    // A scale of its own: contrast that the whole image cannot spare.
    const ColourScale fine = ColourScale::withoutOutliers(r.image(detail), r.scale.palette);
    const cv::Rect low(detail.x / 2, detail.y / 2, detail.width / 2, detail.height / 2);
    std::string text = "<h2>Before and after</h2>\n<div class=pair>" + before(r, detail) + after(r, detail) +
                       colourBar(r.scale, r.unit) + "</div>\n";
    text += "<h2>The framed part</h2>\n<div class=pair>";
    for (const auto& [picture, name] : {std::pair(fine.colours(r.reference(low)), "Before"),
                                        std::pair(fine.colours(r.image(detail)), "After")}) {
        text += "<figure><div class=picture>" + imageTag(picture, "magnified part") +
                "</div><figcaption><b>" + name + "</b>, magnified</figcaption></figure>\n";
    }
    return text + colourBar(fine, r.unit) + "</div>\n";
}

/// A pixel of the reference frame, cut into the four places at which the enlarged image has pixels, with a dot
/// where each frame samples it.
std::string phases(const Report& r) {
    constexpr double kSide = 280.0;
    constexpr double kEdge = 34.0;
    std::string text = format("<svg class=cell viewBox=\"0 0 %.0f %.0f\" role=img aria-label=\"phases\">",
                              kSide + kEdge + 12.0, kSide + kEdge + 12.0);
    text += format("<rect x=%.0f y=%.0f width=%.0f height=%.0f fill=\"#fbfbfd\" stroke=\"#333\"/>", kEdge,
                   kEdge, kSide, kSide);
    text += format("<path d=\"M%.0f %.0f v%.0f M%.0f %.0f h%.0f\" stroke=\"#aab\" stroke-dasharray=\"4 4\"/>",
                   kEdge + kSide / 2, kEdge, kSide, kEdge, kEdge + kSide / 2, kSide);
    for (const int half : {0, 1}) {
        const double centre = kEdge + kSide * (0.25 + 0.5 * half);
        text += format(
            "<text x=%.0f y=%.0f text-anchor=middle>%s</text><text x=%.0f y=%.0f text-anchor=end>%s</text>",
            centre, kEdge - 8, half == 0 ? "0" : "&frac12;", kEdge - 8, centre + 4,
            half == 0 ? "0" : "&frac12;");
        for (const int other : {0, 1}) {
            text += format("<circle cx=%.0f cy=%.0f r=3 fill=\"#aab\"/>", centre,
                           kEdge + kSide * (0.25 + 0.5 * other));
        }
    }
    const auto place = [&](double fraction) {
        return kEdge + kSide * (fraction < 0.75 ? fraction + 0.25 : fraction - 0.75);
    };
    std::vector<cv::Point2d> dots;
    for (const ReportedFrame& frame : r.frames) {
        const cv::Point2d phase = phaseOf(frame.shift);
        const cv::Point2d dot(place(phase.x), place(phase.y));
        // Numbers of dots that lie together go to different corners.
        const auto corner = std::count_if(
            dots.begin(), dots.end(), [&](const cv::Point2d& other) { return cv::norm(other - dot) < 30.0; });
        const double right = corner % 2 == 0 ? 1.0 : -1.0;
        text += format(
            "<circle cx=%.1f cy=%.1f r=9 fill=\"%s\" stroke=\"#fff\" stroke-width=2 />"
            "<text x=%.1f y=%.1f text-anchor=%s>%zu</text>",
            dot.x, dot.y, frame.status == kReference ? "#c2410c" : "#3b6fb5", dot.x + right * 12.0,
            corner % 4 < 2 ? dot.y - 7.0 : dot.y + 16.0, right > 0.0 ? "start" : "end", frame.number);
        dots.push_back(dot);
    }
    return "<figure>" + text +
           "</svg><figcaption><b>Sub-pixel positions</b>: where each frame samples a pixel of the reference "
           "frame (orange), in fractions of a pixel. Twice the resolution needs samples near all four grey "
           "points; " +
           format("%d of 4", phasesReached(r.frames)) + " quarters hold one.</figcaption></figure>\n";
}

std::string coverageFigure(const Report& r) {
    if (r.coverage.empty()) return "";
    const int frames = static_cast<int>(r.frames.size());
    std::string legend;
    for (int count = frames; count >= 0; --count) {
        const int pixels = cv::countNonZero(r.coverage == count);
        legend += format("<span><i class=key style=\"background:%s\"></i>%d: %s</span> ",
                         rgb(coverageColour(count, frames)).c_str(), count,
                         percent(pixels / static_cast<double>(r.coverage.total())).c_str());
    }
    return "<figure>" + imageTag(coverageColours(r.coverage, frames), "coverage") +
           "<figcaption><b>Coverage</b>: how many frames are valid at each pixel.<br><span class=legend>" +
           legend + "</span></figcaption></figure>\n";
}

std::string noiseFigure(const Report& r) {
    const double kClipped = 1.0;  // percent
    const ColourScale scale = ColourScale::of(r.noise, paletteNamed("inferno"), kClipped);
    return "<figure><div class=withbar><div>" + imageTag(scale.colours(r.noise), "noise") + "</div>" +
           colourBar(scale, r.unit) + "</div><figcaption>" +
           (r.precise ? "<b>Standard deviation</b> of the image's noise, "
                      : "<b>Noise</b>: how far the frames scatter around the image (standard deviation), ") +
           significant(medianOf(r.noise), r.unit) + " in the median." +
           (r.precise ? "" : " Edges that the image cannot explain and things that moved stand out.") +
           noValueText(r.noise, scale,
                       r.precise ? "where no frame has one" : "where no two frames are valid") +
           "</figcaption></figure>\n";
}

std::string cell(const std::string& text, const char* kind = "name") {
    return std::string("<td class=") + kind + ">" + text + "</td>";
}

/// How the precise pipeline found a frame beyond its shift, where that differs from the reference.
std::string fitText(const ReportedFrame& frame, const std::string& unit) {
    if (!frame.fit || frame.status == kReference) return "";
    const vision::SrPreciseFrame& fit = *frame.fit;
    const double turn = 0.5 * (fit.linear[1][0] - fit.linear[0][1]) * 180.0 / CV_PI;
    const double zoom = 0.5 * (fit.linear[0][0] + fit.linear[1][1]);
    std::string text;
    if (turn != 0.0 || zoom != 0.0) {
        text += format(", turned by %.2f degrees, zoomed by %.2f %%", turn, 100.0 * zoom);
    }
    return text + format(", gain %.3f, offset %.2g", fit.gain, fit.offset) + (unit.empty() ? "" : " " + unit);
}

std::string frameTable(const Report& r) {
    std::string text =
        "<h2>Frames</h2>\n<div class=card><table class=frames><tr><th class=n>Frame<th>File<th class=n>Shift "
        "x<th "
        "class=n>Shift y<th>Valid pixels<th>Status</tr>\n";
    for (const ReportedFrame& f : r.frames) {
        const double filled = std::isnan(f.validShare) ? 0.0 : 100.0 * f.validShare;
        const std::string meter = format("<span class=meter><i style=\"width:%.1f%%\"></i></span>", filled);
        text += "<tr>" + cell(std::to_string(f.number), "n") + cell(htmlText(f.name), "wide") +
                cell(format("%.3f", static_cast<double>(f.shift.x)), "n") +
                cell(format("%.3f", static_cast<double>(f.shift.y)), "n") +
                cell(meter + percent(f.validShare)) + cell(htmlText(f.status + fitText(f, r.unit))) +
                "</tr>\n";
    }
    for (const auto& [number, name] : r.leftOut) {
        text += "<tr>" + cell(std::to_string(number), "n") + cell(htmlText(name), "wide") + "<td><td><td>" +
                cell("left out: nothing new in common with the reference") + "</tr>\n";
    }
    return text +
           "</table></div><p>Shifts are in pixels of a frame, x to the right, y down: what the reference "
           "frame shows at p, this frame shows at p + shift.</p>\n";
}

std::string imageTable(const std::vector<ReportedImage>& images) {
    if (images.size() < 2) return "";
    std::string text =
        "<h2>All images of the recording</h2>\n<div class=card><table class=images><tr><th class=n>Newest "
        "frame<th "
        "class=n>Gain<th class=n>dB over bicubic<th class=n>Time<th>Notes</tr>\n";
    for (const ReportedImage& image : images) {
        text += "<tr>" + cell(std::to_string(image.newest), "n") +
                cell(image.gain > 0.0 && image.warning.empty() ? format("%.2f", image.gain) : "", "n") +
                cell(image.decibels ? format("%.1f", *image.decibels) : "", "n") +
                cell(format("%.1f ms", 1e3 * image.seconds), "n") + cell(htmlText(image.warning), "wide") +
                "</tr>\n";
    }
    return text + "</table></div>\n";
}

std::string notes(const Report& r) {
    if (r.guards.empty()) return "";
    std::string text = "<div class=notes><b>What to know about this image</b><ul>\n";
    for (const Guard& guard : r.guards) {
        text += "<li>" + htmlText(guard.text + (guard.action.empty() ? "" : "; " + guard.action)) + "</li>\n";
    }
    return text + "</ul></div>\n";
}

std::string valueHtml(const Fact::Value& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return htmlText(*text);
    if (const auto* number = std::get_if<double>(&value)) return format("%g", *number);
    if (const auto* yes = std::get_if<bool>(&value)) return *yes ? "yes" : "no";
    std::string all;
    for (const std::string& text : std::get<std::vector<std::string>>(value)) {
        all += (all.empty() ? "" : "<br>") + htmlText(text);
    }
    return all;
}

std::string factTable(const char* heading, const std::vector<Fact>& facts) {
    std::string text = std::string("<div class=card><table><tr><th colspan=2>") + heading + "</tr>\n";
    for (const Fact& fact : facts)
        text += "<tr>" + cell(htmlText(fact.name)) + cell(valueHtml(fact.value), "wide") + "</tr>\n";
    return text + "</table></div>\n";
}

std::vector<Fact> timings(const Report& r) {
    std::vector<Fact> facts;
    for (const vision::detail::StageTime& stage : r.stages)
        facts.push_back({stage.name, format("%.2f ms", stage.milliseconds)});
    facts.push_back({"whole run", format("%.2f s", r.seconds)});
    return facts;
}

std::string tiles(const Report& r) {
    const ReportedImage& last = r.images.back();
    double least = 1.0;
    for (const ReportedFrame& frame : r.frames) {
        if (!(frame.validShare >= least)) least = frame.validShare;
    }
    const std::string gain =
        r.precise
            ? tile(last.decibels ? format("%.1f dB", *last.decibels) : "&ndash;",
                   "better than bicubic enlargement at withheld pixels") +
                  tile(significant(medianOf(r.noise), r.unit), "standard deviation of a pixel, median") +
                  tile(std::to_string(r.frames.size()), "frames take part") +
                  tile(percent(r.precise->shareOnReference), "of the image rests on one frame") +
                  tile(significant(r.precise->noise, r.unit), "noise of the frames")
            : tile(last.gain > 0.0 && last.warning.empty() ? format("%.2f", last.gain) : "&ndash;",
                   "gain of resolution, as far as frames agree (2 at most)") +
                  tile(percent(least), "valid pixels of the worst frame") +
                  tile(significant(medianOf(r.noise), r.unit), "noise of the frames, median");
    std::string text = "<div class=tiles>\n" + gain +
                       tile(format("%d of 4", phasesReached(r.frames)), "sub-pixel quarters with a frame");
    if (const std::optional<Spots> spots = Spots::of(r.image)) {
        text += tile(htmlText(valueText(spots->hottest.value, r.scale, r.unit)), "hottest pixel") +
                tile(htmlText(valueText(spots->coldest.value, r.scale, r.unit)), "coldest pixel");
    }
    return text + "</div>\n";
}

}  // namespace

std::string htmlReport(const Report& r) {
    const std::filesystem::path file(r.output);
    const std::string name = file.has_filename() ? file.filename().string() : r.output;
    const std::string title = "Super-resolution report: " + htmlText(name);
    return "<!DOCTYPE html>\n<html lang=en><head><meta charset=utf-8><meta name=viewport "
           "content=\"width=device-width\">\n<title>" +
           title + "</title>\n<link rel=icon href=\"data:,\">\n<style>" + kStyle +
           "</style></head>\n<body><main>\n<h1>" + title + "</h1>\n<div class=soft>" + htmlText(r.created) +
           format(" &middot; image of frame %zu &middot; %zu frames used</div>\n", r.images.back().newest,
                  r.frames.size()) +
           tiles(r) + notes(r) + pictures(r) + "<h2>Can it be trusted?</h2>\n<div class=three>" + phases(r) +
           coverageFigure(r) + noiseFigure(r) + "</div>\n" + frameTable(r) + imageTable(r.images) +
           "<h2>How it was made</h2>\n<div class=three>" + factTable("Input", r.input) +
           factTable("Parameters", r.parameters) + "<div>" + factTable("Time", timings(r)) + "<br>" +
           factTable("Versions", r.versions) + "</div></div>\n</main></body></html>\n";
}

}  // namespace oravo::tools
