#include "tools/pictures/BlurPicture.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "tools/base/Messages.h"
#include "tools/pictures/Drawing.h"
#include "tools/pictures/Ticks.h"

namespace oravo::tools {
namespace {

constexpr int kWidth = 480, kHeight = 300, kGap = 60, kHeading = 64;
constexpr int kPoints = 200;    // of a curve
constexpr double kReach = 3.0;  // pixels on each side of the edge that are shown
const cv::Scalar kMeasured(160, 70, 20), kModel(40, 110, 230), kGrid(225, 225, 225), kMark(150, 150, 150);
const Lettering kTitle{0.6, kInk, false};
const Lettering kText{0.42, kInk, false};

/// A diagram with axes, whose curves are functions of x.
class Diagram {
  public:
    Diagram(cv::Mat& picture, cv::Point at, cv::Point2d from, cv::Point2d to)
        : picture_(picture), place_(at, cv::Size(kWidth, kHeight)), from_(from), to_(to) {
        drawAxis(true);
        drawAxis(false);
        cv::rectangle(picture_, place_, kInk);
    }

    void curve(const std::function<double(double)>& f, const cv::Scalar& colour) {
        std::vector<cv::Point> points;
        for (int i = 0; i <= kPoints; ++i) {
            const double x = from_.x + (to_.x - from_.x) * i / kPoints;
            points.push_back(at({x, f(x)}));
        }
        cv::polylines(picture_, points, false, colour, 2, cv::LINE_AA);
    }
    void dot(double x, double y, const cv::Scalar& colour) {
        cv::circle(picture_, at({x, y}), 3, colour, cv::FILLED, cv::LINE_AA);
    }
    void upright(double x, const std::string& text) {
        cv::line(picture_, at({x, from_.y}), at({x, to_.y}), kMark);
        drawText(picture_, text, at({x, to_.y}) + cv::Point(6, 18), kText);
    }
    void name(const std::string& title, const std::string& below) {
        drawText(picture_, title, place_.tl() - cv::Point(0, 12), kText);
        drawText(picture_, below,
                 {place_.x + (kWidth - textSize(below, kText).width) / 2, place_.br().y + 40}, kText);
    }

  private:
    cv::Point at(cv::Point2d value) const {
        const auto share = [](double v, double a, double b) {
            return std::clamp((v - a) / (b - a), 0.0, 1.0);
        };
        return {place_.x + static_cast<int>(std::lround(share(value.x, from_.x, to_.x) * kWidth)),
                place_.br().y - static_cast<int>(std::lround(share(value.y, from_.y, to_.y) * kHeight))};
    }

    void drawAxis(bool across) {
        const Ticks ticks = across ? Ticks(from_.x, to_.x, 11) : Ticks(from_.y, to_.y, 7);
        for (const double value : ticks.values) {
            const cv::Point first = at(across ? cv::Point2d(value, from_.y) : cv::Point2d(from_.x, value));
            const cv::Point last = at(across ? cv::Point2d(value, to_.y) : cv::Point2d(to_.x, value));
            cv::line(picture_, first, last, kGrid);
            const std::string text = ticks.text(value);
            const cv::Size size = textSize(text, kText);
            const cv::Point away =
                across ? cv::Point(-size.width / 2, 18) : cv::Point(-size.width - 8, size.height / 2);
            drawText(picture_, text, first + away, kText);
        }
    }

    cv::Mat& picture_;
    cv::Rect place_;
    cv::Point2d from_, to_;
};

}  // namespace

cv::Mat drawBlur(const BlurMeasurement& measured) {
    const BlurModel& best = measured.best();
    const EdgeProfile profile(best.optics, best.pixel, measured.edge.degrees * CV_PI / 180.0);
    const EdgeSpread& spread = measured.spread;
    cv::Mat picture(kHeading + kHeight + 60, 2 * (kWidth + kGap) + 24, CV_8UC3, kPaper);
    drawText(picture,
             format("blur of %.3f pixels of the frames, edge %.1f degrees off the %s, %d frame%s",
                    best.spread(), measured.edge.degrees, measured.edge.alongRows ? "rows" : "columns",
                    measured.used, measured.used == 1 ? "" : "s"),
             {kGap, 26}, kTitle);

    double most = 1.0;
    for (int i = 0; i <= kPoints; ++i)
        most = std::max(most, spread.transfer(static_cast<double>(i) / kPoints));
    Diagram transfer(picture, {kGap, kHeading}, {0.0, 0.0}, {1.0, 1.05 * most});
    transfer.upright(0.5, "finest detail of a frame");
    transfer.curve([&](double f) { return profile.transfer(f); }, kModel);
    transfer.curve([&](double f) { return spread.transfer(f); }, kMeasured);
    transfer.name("modulation transfer: measured (blue), model (orange)", "cycles per pixel of the frames");

    Diagram edge(picture, {2 * kGap + kWidth, kHeading}, {-kReach, -0.15}, {kReach, 1.15});
    edge.curve([&](double u) { return profile.at(u).level; }, kModel);
    for (int i = 0; i < EdgeSpread::kBins; ++i) {
        const double u = EdgeSpread::distance(i);
        if (std::abs(u) <= kReach && !spread.isEmpty(i)) edge.dot(u, spread.level(i), kMeasured);
    }
    edge.name("the edge: quarter pixels (blue), model (orange)",
              "distance from the edge in pixels of the frames");
    return picture;
}

}  // namespace oravo::tools
