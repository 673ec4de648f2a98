#include <cmath>

#include "tools/base/MarkupText.h"
#include "tools/base/Messages.h"
#include "tools/pictures/Preview.h"
#include "tools/report/HtmlParts.h"
#include "tools/report/ReportText.h"

namespace oravo::tools {
namespace {

std::string valueCell(double value, const Report& r) {
    return "<td class=\"n\">" +
           (std::isnan(value) ? std::string("unknown")
                              : markupText(valueText(static_cast<float>(value), r.scale, r.unit))) +
           "</td>";
}

std::string spotRow(const char* name, const Spots::Spot& spot, const Report& r) {
    return format("<tr><th scope=\"row\">%s, at (%d, %d)</th>", name, spot.at.x, spot.at.y) +
           valueCell(static_cast<double>(spot.value), r) + valueCell(seenValueAt(r, spot.at), r) +
           valueCell(referenceValueAt(r, spot.at), r) + valueCell(bicubicValueAt(r, spot.at), r) + "</tr>\n";
}

std::string spotTable(const Report& r) {
    const std::optional<Spots> spots = Spots::of(r.image);
    if (!spots) return "";
    std::string head = "<tr><th scope=\"col\">Pixel</th>";
    for (const char* name : {"Image", "Image, through the camera", "Reference frame", "Bicubic"}) {
        head += format("<th class=\"n\" scope=\"col\">%s</th>", name);
    }
    return "<div class=\"card\" role=\"region\" tabindex=\"0\" aria-label=\"Hottest and coldest "
           "pixel\"><table><thead>" +
           head + "</tr></thead><tbody>\n" + spotRow("Hottest", spots->hottest, r) +
           spotRow("Coldest", spots->coldest, r) +
           "</tbody></table></div>\n<p>Where the image, blurred and sampled as by its camera, reads what the "
           "reference frame "
           "does, the two agree, however far the sharper image goes beyond the frame.</p>\n";
}

std::string flatText(const Report& r) {
    if (!r.flatBias) return "<p>There are too few flat areas to compare the levels of image and frame.</p>\n";
    const FlatBias& flat = *r.flatBias;
    const auto text = [&](double value) { return markupText(figure(value, r.unit)); };
    return "<p>In flat areas, where sharpening changes nothing, the image differs from the reference frame "
           "by " +
           text(flat.difference) + " &plusmn; " + text(flat.error) +
           format(" (%s; ", counted(flat.pixels, "pixel").c_str()) +
           "image less frame, with standard error). Farthest off is the area at " +
           format("(%d, %d) of the frame, by ", flat.worstAt.x, flat.worstAt.y) + text(flat.worst) +
           " &plusmn; " + text(flat.worstError) +
           "; of hundreds of areas, noise alone takes some to three standard errors.</p>\n";
}

}  // namespace

std::string radiometryPart(const Report& r) {
    return flatText(r) + spotTable(r);
}

}  // namespace oravo::tools
