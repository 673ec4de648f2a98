#include "tools/pictures/Drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tools/pictures/Ticks.h"

namespace oravo::tools {
namespace {

constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;
constexpr char kDegree[] = "\u00b0";
constexpr int kTickLength = 4;
constexpr int kTickGap = 4;

int thicknessOf(const Lettering& lettering) {
    return std::max(1, static_cast<int>(std::lround(lettering.size * 1.7)));
}

int widthOf(const std::string& text, const Lettering& l) {
    int baseLine = 0;
    return cv::getTextSize(text, kFont, l.size, thicknessOf(l), &baseLine).width;
}

int capitalHeight(const Lettering& l) {
    return static_cast<int>(std::lround(22.0 * l.size));
}

/// The font has no degree sign: it is a small circle at the height of capitals.
int degreeRadius(const Lettering& l) {
    return std::max(2, static_cast<int>(std::lround(4.0 * l.size)));
}
int degreeWidth(const Lettering& l) {
    return 2 * degreeRadius(l) + 2 * thicknessOf(l) + 1;
}

/// Calls draw(ASCII text, whether a degree sign follows) for each piece.
template <class Draw>
void forEachPiece(const std::string& text, Draw draw) {
    std::string piece;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text.compare(i, sizeof kDegree - 1, kDegree) == 0) {
            draw(piece, true);
            piece.clear();
            ++i;
            continue;
        }
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x80 && c < 0xC0) continue;  // the rest of a character that has its mark already
        piece += c >= ' ' && c < 0x7F ? text[i] : '?';
    }
    draw(piece, false);
}

void drawPlain(cv::Mat& picture, const std::string& text, cv::Point at, const Lettering& l) {
    const int thickness = thicknessOf(l);
    forEachPiece(text, [&](const std::string& piece, bool degree) {
        cv::putText(picture, piece, at, kFont, l.size, l.colour, thickness, cv::LINE_AA);
        if (!piece.empty()) at.x += widthOf(piece, l);
        if (!degree) return;
        const int radius = degreeRadius(l);
        cv::circle(picture, at + cv::Point(radius + thickness, radius - capitalHeight(l)), radius, l.colour,
                   thickness, cv::LINE_AA);
        at.x += degreeWidth(l);
    });
}

/// Ticks no closer than twice the height of a text.
Ticks ticksOf(const ColourScale& scale, int height, const Lettering& l) {
    return {scale.lowest, scale.highest, std::clamp(height / (3 * capitalHeight(l)), 2, 12)};
}

void drawEnd(cv::Mat& picture, cv::Rect bar, int y, int direction, const cv::Vec3b& colour) {
    const std::array<cv::Point, 3> corners{cv::Point(bar.x, y), cv::Point(bar.x + bar.width - 1, y),
                                           cv::Point(bar.x + bar.width / 2, y + direction * bar.width / 2)};
    cv::fillConvexPoly(picture, corners, cv::Scalar(colour[0], colour[1], colour[2]), cv::LINE_AA);
    cv::polylines(picture, corners, true, kInk, 1, cv::LINE_AA);
}

}  // namespace

void drawText(cv::Mat& picture, const std::string& text, cv::Point at, const Lettering& lettering) {
    if (lettering.shaded) {
        const cv::Size size = textSize(text, lettering);
        const int border = std::max(3, size.height / 3);
        const cv::Rect ground(at.x - border, at.y - size.height - border, size.width + 2 * border,
                              size.height + 2 * border);
        cv::Mat place = picture(ground & cv::Rect(cv::Point(), picture.size()));
        place.convertTo(place, -1, 0.3);
    }
    drawPlain(picture, text, at, lettering);
}

cv::Size textSize(const std::string& text, const Lettering& lettering) {
    int width = 0;
    forEachPiece(text, [&](const std::string& piece, bool degree) {
        if (!piece.empty()) width += widthOf(piece, lettering);
        if (degree) width += degreeWidth(lettering);
    });
    return {width, capitalHeight(lettering)};
}

void drawColourBar(cv::Mat& picture, cv::Rect bar, const ColourScale& scale, const std::string& unit,
                   const Lettering& lettering) {
    const int arrow = bar.width / 2;
    if (scale.clipsAbove) {
        drawEnd(picture, bar, bar.y + arrow, -1, scale.palette(scale.palette.rows - 1));
        bar.y += arrow;
        bar.height -= arrow;
    }
    if (scale.clipsBelow) {
        bar.height -= arrow;
        drawEnd(picture, bar, bar.y + bar.height - 1, 1, scale.palette(0));
    }
    cv::Mat_<float> ramp(bar.height, 1);
    for (int r = 0; r < bar.height; ++r) {
        const double up = 1.0 - (r + 0.5) / bar.height;
        ramp(r, 0) = static_cast<float>(scale.lowest + up * (scale.highest - scale.lowest));
    }
    cv::resize(scale.colours(ramp), picture(bar), bar.size(), 0.0, 0.0, cv::INTER_NEAREST);
    cv::rectangle(picture, bar, kInk, 1);
    const Ticks ticks = ticksOf(scale, bar.height, lettering);
    const double span = scale.highest - scale.lowest;
    const int right = bar.x + bar.width;
    for (const double value : ticks.values) {
        const double up = span > 0.0 ? (value - scale.lowest) / span : 0.5;
        const int y = bar.y + static_cast<int>(std::lround((1.0 - up) * (bar.height - 1)));
        cv::line(picture, {right, y}, {right + kTickLength, y}, kInk);
        drawText(picture, ticks.text(value),
                 {right + kTickLength + kTickGap, y + capitalHeight(lettering) / 2}, lettering);
    }
    drawText(picture, unit, {bar.x, bar.y - arrow - capitalHeight(lettering) / 2}, lettering);
}

int colourBarTextWidth(const ColourScale& scale, int height, const std::string& unit,
                       const Lettering& lettering) {
    const Ticks ticks = ticksOf(scale, height, lettering);
    int width = textSize(unit, lettering).width;
    for (const double value : ticks.values)
        width = std::max(width, textSize(ticks.text(value), lettering).width);
    return kTickLength + kTickGap + width + capitalHeight(lettering) / 2;
}

}  // namespace oravo::tools
