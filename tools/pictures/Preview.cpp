#include "tools/pictures/Preview.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tools/base/Messages.h"
#include "tools/measure/Metrics.h"
#include "tools/pictures/Drawing.h"
#include "tools/pictures/Ticks.h"
#include "tools/values/Decode.h"

namespace oravo::tools {
namespace {

constexpr double kUsualSide = 640.0;
constexpr int kLeastLines = 9;           // of text, beside the image
constexpr std::size_t kLongestUnit = 4;  // bytes
const cv::Scalar kWhite(255, 255, 255);
const cv::Scalar kBlack(0, 0, 0);
// Distinct without red and green: dark red, orange, pale yellow, light blue, dark blue.
const std::array<cv::Vec3b, 6> kCoverageColours{cv::Vec3b(38, 0, 165), {39, 87, 226},   {97, 174, 253},
                                                {191, 255, 255},       {209, 191, 116}, {149, 54, 49}};

/// Where things go in a picture of an image of some size.
struct Layout {
    explicit Layout(cv::Size image, int leastLines = kLeastLines)
        : zoom(std::max(1, static_cast<int>(std::lround(kUsualSide / std::max(image.width, image.height))))),
          view(image * zoom),
          lettering{std::clamp(0.5 * std::max(view.width, view.height) / kUsualSide, 0.5, 1.6), kInk, false},
          line(static_cast<int>(std::lround(44.0 * lettering.size))),
          gap(line / 2),
          height(std::max(view.height, leastLines * line)) {}

    cv::Rect viewPlace() const { return {{gap, gap}, view}; }
    /// Beside the image; the unit stands in the line above it.
    cv::Rect barPlace() const { return {2 * gap + view.width, gap + line, line, height - line}; }
    cv::Mat blank(int textRight, int lines) const {
        return {2 * gap + height + lines * line, 2 * gap + view.width + line + textRight + gap, CV_8UC3,
                kPaper};
    }
    cv::Point textLine(int index) const { return {gap, gap + height + (index + 1) * line}; }

    int zoom;
    cv::Size view;
    Lettering lettering;
    int line;
    int gap;
    int height;  ///< of the image, or of the least that the bar needs
};

cv::Mat enlarged(const cv::Mat& colours, const Layout& layout) {
    cv::Mat view;
    cv::resize(colours, view, layout.view, 0.0, 0.0, cv::INTER_NEAREST);
    return view;
}

/// Where the value of a spot is written: beside its ring on whichever side there is room, clear of what is
/// taken. The left end of the base line.
cv::Point besideRing(cv::Point centre, int radius, cv::Size text, cv::Size view, int gap,
                     const std::vector<cv::Rect>& taken) {
    cv::Point at(centre.x + radius + gap, centre.y + text.height / 2);
    if (at.x + text.width > view.width - gap) at.x = centre.x - radius - gap - text.width;
    at.x = std::clamp(at.x, gap, std::max(gap, view.width - gap - text.width));
    const cv::Size ground = text + cv::Size(2 * gap, 2 * gap);
    for (const int halfLines : {0, 1, -1, 2, -2, 3, -3, 4, -4}) {
        const cv::Point moved(at.x, at.y + halfLines * ground.height / 2);
        const cv::Rect place({moved.x - gap, moved.y - text.height - gap}, ground);
        const bool inside = place.y >= 0 && place.br().y <= view.height;
        const auto meets = [&](const cv::Rect& other) { return !(place & other).empty(); };
        if (inside && std::none_of(taken.begin(), taken.end(), meets)) return moved;
    }
    return {at.x, std::clamp(at.y, text.height + gap, std::max(text.height + gap, view.height - gap))};
}

struct Mark {
    cv::Point at;
    std::string text;
};

/// Rings around the places, and the texts beside them.
void drawMarks(cv::Mat& view, const std::vector<Mark>& marks, const Layout& layout) {
    const Lettering bright{layout.lettering.size, kWhite, true};
    const int radius = std::max(layout.line / 3, layout.zoom);
    const auto centreOf = [&](const Mark& mark) {
        return mark.at * layout.zoom + cv::Point(layout.zoom / 2, layout.zoom / 2);
    };
    std::vector<cv::Rect> taken;
    for (const Mark& mark : marks) {
        const cv::Point centre = centreOf(mark);
        for (const auto& [colour, thickness] : {std::pair(kBlack, 4), std::pair(kWhite, 2)}) {
            cv::circle(view, centre, radius, colour, thickness, cv::LINE_AA);
        }
        taken.emplace_back(centre - cv::Point(radius, radius), cv::Size(2 * radius, 2 * radius));
    }
    for (const Mark& mark : marks) {
        const cv::Size size = textSize(mark.text, bright);
        const cv::Point at = besideRing(centreOf(mark), radius, size, view.size(), layout.gap, taken);
        drawText(view, mark.text, at, bright);
        taken.emplace_back(cv::Point(at.x, at.y - size.height), size);
    }
}

std::string placeText(const char* name, const Spots::Spot& spot, const ColourScale& scale,
                      const std::string& unit) {
    return format("%s %s at (%d, %d)", name, valueText(spot.value, scale, unit).c_str(), spot.at.x,
                  spot.at.y);
}

/// The largest lettering, up to the given one, in which the text is no wider than the room.
Lettering fitted(const std::string& text, Lettering lettering, int room) {
    while (lettering.size > 0.3 && textSize(text, lettering).width > room) lettering.size *= 0.95;
    return lettering;
}

/// A box of a colour and what it stands for; the left end of the base line.
void drawKey(cv::Mat& picture, cv::Point at, const cv::Vec3b& colour, const std::string& text,
             const Layout& layout) {
    const int side = textSize(text, layout.lettering).height;
    const cv::Rect box(at.x, at.y - side, side, side);
    cv::rectangle(picture, box, cv::Scalar(colour[0], colour[1], colour[2]), cv::FILLED);
    cv::rectangle(picture, box, kInk, 1);
    at.x += 2 * side;
    drawText(picture, text, at, fitted(text, layout.lettering, picture.cols - at.x - layout.gap));
}

}  // namespace

std::optional<Spots> Spots::of(const cv::Mat_<float>& image) {
    const int border = std::min(image.rows, image.cols) < 32 ? 0 : 2;
    std::optional<Spots> spots;
    for (int y = border; y < image.rows - border; ++y) {
        for (int x = border; x < image.cols - border; ++x) {
            const float value = image(y, x);
            if (!isValue(value)) continue;
            const Spot here{{x, y}, value};
            if (!spots) spots = Spots{here, here};
            if (value > spots->hottest.value) spots->hottest = here;
            if (value < spots->coldest.value) spots->coldest = here;
        }
    }
    return spots;
}

std::string valueText(float value, const ColourScale& scale, const std::string& unit) {
    const std::string number = Ticks(scale.lowest, scale.highest, 8).text(static_cast<double>(value), 1);
    return unit.empty() ? number : number + " " + unit;
}

cv::Mat Preview::draw(const cv::Mat_<float>& image) const {
    const Layout layout(image.size());
    cv::Mat view = enlarged(scale.colours(image), layout);
    std::string line = caption;
    const std::optional<Spots> spots = showsSpots ? Spots::of(image) : std::nullopt;
    if (spots) {
        // Beside the bar with its unit, a long one would only hide the picture.
        const std::string shortUnit = unit.size() <= kLongestUnit ? unit : "";
        const auto mark = [&](const Spots::Spot& spot) {
            return Mark{spot.at, valueText(spot.value, scale, shortUnit)};
        };
        drawMarks(view, {mark(spots->hottest), mark(spots->coldest)}, layout);
        line += (line.empty() ? "" : "   ") + placeText("hottest", spots->hottest, scale, unit) + "   " +
                placeText("coldest", spots->coldest, scale, unit);
    }
    const cv::Rect bar = layout.barPlace();
    const int none = countWithoutValue(image);
    const int lines = none == 0 ? 1 : 2;
    cv::Mat picture = layout.blank(colourBarTextWidth(scale, bar.height, unit, layout.lettering), lines);
    view.copyTo(picture(layout.viewPlace()));
    drawColourBar(picture, bar, scale, unit, layout.lettering);
    drawText(picture, line, layout.textLine(0),
             fitted(line, layout.lettering, picture.cols - 2 * layout.gap));
    if (none > 0) {
        const std::string text = format("no value: %d pixel%s", none, none == 1 ? "" : "s");
        drawKey(picture, layout.textLine(1), scale.noValue(), text, layout);
    }
    return picture;
}

cv::Vec3b coverageColour(int count, int frames) {
    const double place =
        static_cast<double>(count) * static_cast<double>(kCoverageColours.size() - 1) / std::max(frames, 1);
    return kCoverageColours[std::min(static_cast<std::size_t>(std::lround(place)),
                                     kCoverageColours.size() - 1)];
}

Palette coveragePalette() {
    cv::Mat_<cv::Vec3b> colours(static_cast<int>(kCoverageColours.size()), 1), palette(256, 1);
    std::copy(kCoverageColours.begin(), kCoverageColours.end(), colours.begin());
    for (int i = 0; i < palette.rows; ++i) {
        const double place = i * (colours.rows - 1.0) / (palette.rows - 1.0);
        const int below = std::min(static_cast<int>(place), colours.rows - 2);
        const double share = place - below;
        palette(i) = cv::Vec3d(colours(below)) * (1.0 - share) + cv::Vec3d(colours(below + 1)) * share;
    }
    return palette;
}

cv::Mat_<cv::Vec3b> coverageColours(const cv::Mat_<uchar>& coverage, int frames) {
    cv::Mat_<cv::Vec3b> colours(coverage.size());
    std::transform(coverage.begin(), coverage.end(), colours.begin(),
                   [&](uchar count) { return coverageColour(count, frames); });
    return colours;
}

cv::Mat drawCoverage(const cv::Mat_<uchar>& coverage, int frames) {
    constexpr int kMostRows = 12;                           // of the legend, beside none
    const int step = (frames + kMostRows - 1) / kMostRows;  // counts of a row
    const int rows = frames == 0 ? 0 : (frames + step - 1) / step;
    const Layout layout(coverage.size(), std::max(kLeastLines, 2 + (rows + 1) * 5 / 4));
    const Lettering& lettering = layout.lettering;
    const std::string widest = step > 1 ? "00-00  100.0 %" : format("%d  100.0 %%", frames);
    cv::Mat picture = layout.blank(textSize(widest, lettering).width + layout.gap, 1);
    enlarged(coverageColours(coverage, frames), layout).copyTo(picture(layout.viewPlace()));
    const cv::Rect bar = layout.barPlace();
    drawText(picture, "frames", {bar.x, bar.y - layout.gap}, lettering);
    for (int row = 0; row <= rows; ++row) {
        const int highest = std::min(row * step, frames), lowest = std::min(highest, (row - 1) * step + 1);
        const cv::Mat within = row == 0 ? coverage == 0 : (coverage >= lowest) & (coverage <= highest);
        const double share = 100.0 * cv::countNonZero(within) / static_cast<double>(coverage.total());
        const std::string counts =
            row == 0 || lowest == highest ? format("%d", highest) : format("%d-%d", lowest, highest);
        const cv::Vec3b colour = coverageColour(row == 0 ? 0 : (lowest + highest) / 2, frames);
        const int y = bar.y + (rows - row) * layout.line * 5 / 4;
        const cv::Rect box(bar.x, y, layout.line, layout.line);
        cv::rectangle(picture, box, cv::Scalar(colour[0], colour[1], colour[2]), cv::FILLED);
        cv::rectangle(picture, box, kInk, 1);
        drawText(picture, format("%s  %.1f %%", counts.c_str(), share),
                 {box.br().x + layout.gap / 2, y + (layout.line + textSize("0", lettering).height) / 2},
                 lettering);
    }
    drawText(picture, "How many frames each pixel rests on", layout.textLine(0), lettering);
    return picture;
}

}  // namespace oravo::tools
