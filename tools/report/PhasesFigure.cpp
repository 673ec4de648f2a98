#include <algorithm>

#include "tools/base/Messages.h"
#include "tools/report/HtmlParts.h"

namespace oravo::tools {
namespace {

// The drawing, in its own units.
constexpr double kSide = 280.0;
constexpr double kEdge = 34.0;
constexpr double kNear = 30.0;    // dots whose numbers would overlap
constexpr double kNumber = 20.0;  // width of a number and its distance

/// The pixel begins a quarter before its first sample, so that the four samples of the image lie in the middle of its quarters.
double placeOf(double fraction) {
    return kEdge + kSide * (fraction < 0.75 ? fraction + 0.25 : fraction - 0.75);
}

/// The pixel, cut into the four places at which the enlarged image has pixels.
std::string quarters() {
    std::string text =
        format("<rect x=\"%.0f\" y=\"%.0f\" width=\"%.0f\" height=\"%.0f\" fill=\"none\" stroke=\"#788\"/>",
               kEdge, kEdge, kSide, kSide) +
        format("<path d=\"M%.0f %.0f v%.0f M%.0f %.0f h%.0f\" stroke=\"#788\" stroke-dasharray=\"4 4\"/>",
               kEdge + kSide / 2, kEdge, kSide, kEdge, kEdge + kSide / 2, kSide);
    for (const int half : {0, 1}) {
        const double centre = kEdge + kSide * (0.25 + 0.5 * half);
        const char* name = half == 0 ? "0" : "&frac12;";
        text += format(
            "<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"middle\">%s</text>"
            "<text x=\"%.0f\" y=\"%.0f\" text-anchor=\"end\">%s</text>",
            centre, kEdge - 8, name, kEdge - 8, centre + 4, name);
        for (const int other : {0, 1}) {
            text += format("<circle cx=\"%.0f\" cy=\"%.0f\" r=\"3\" fill=\"#899\"/>", centre,
                           kEdge + kSide * (0.25 + 0.5 * other));
        }
    }
    return text;
}

}  // namespace

std::string phasesFigure(const Report& r) {
    std::string text =
        format(
            "<svg viewBox=\"0 0 %.0f %.0f\" role=\"img\" aria-label=\"Sub-pixel positions: %d of 4 quarters "
            "hold a frame\">",
            kSide + kEdge + 12.0, kSide + kEdge + 12.0, phasesReached(r.frames)) +
        quarters();
    std::vector<cv::Point2d> dots;
    for (const ReportedFrame& frame : r.frames) {
        const cv::Point2d phase = phaseOf(frame.shift);
        const cv::Point2d dot(placeOf(phase.x), placeOf(phase.y));
        // Numbers of dots that lie together go to different corners.
        const auto corner = std::count_if(dots.begin(), dots.end(), [&](const cv::Point2d& other) {
            return cv::norm(other - dot) < kNear;
        });
        const bool atEdge = dot.x > kEdge + kSide - kNumber;
        const double right = corner % 2 == 0 && !atEdge ? 1.0 : -1.0;
        text += format(
            "<circle cx=\"%.1f\" cy=\"%.1f\" r=\"8\" fill=\"%s\" stroke=\"#fff\" stroke-width=\"2\"/>"
            "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\">%zu</text>",
            dot.x, dot.y, frame.status == kReference ? "#c2410c" : "#3b6fb5", dot.x + right * 12.0,
            corner % 4 < 2 ? dot.y - 7.0 : dot.y + 16.0, right > 0.0 ? "start" : "end", frame.number);
        dots.push_back(dot);
    }
    return "<figure class=\"phases\">" + text +
           "</svg><figcaption><b>Sub-pixel positions</b>: where each frame samples a pixel of the reference "
           "frame (orange), in "
           "fractions of a pixel. Twice the resolution needs samples near all four grey points; " +
           format("%d of 4", phasesReached(r.frames)) + " quarters hold one.</figcaption></figure>\n";
}

}  // namespace oravo::tools
