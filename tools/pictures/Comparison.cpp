#include "tools/pictures/Comparison.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tools/measure/Metrics.h"
#include "tools/pictures/ColourScale.h"
#include "tools/pictures/Drawing.h"

namespace oravo::tools {
namespace {

constexpr int kPanelWidth = 400;  // about; small images are enlarged by whole factors
constexpr int kGap = 14;
constexpr int kHeading = 58;
constexpr int kBarWidth = 22;
constexpr int kMagnification = 6;  // of the detail, in picture pixels for one of the image
constexpr double kClipped = 1.0;  // percent at both ends, so that a few hot pixels leave contrast to the rest
const Lettering kTitle{0.62, kInk, false};
const Lettering kText{0.45, kInk, false};
const cv::Scalar kFrame(255, 255, 255);

/// The scene as shown above: whole factors keep the pixels visible, large images are reduced.
cv::Mat overview(const cv::Mat& colours, cv::Size size) {
    cv::Mat view;
    cv::resize(colours, view, size, 0.0, 0.0, size.width < colours.cols ? cv::INTER_AREA : cv::INTER_NEAREST);
    return view;
}

cv::Size overviewSize(cv::Size image) {
    if (image.width > 3 * kPanelWidth / 2) {
        return {kPanelWidth, std::max(1, kPanelWidth * image.height / image.width)};
    }
    return image * std::max(1, (kPanelWidth + image.width / 2) / image.width);
}

}  // namespace

cv::Rect richestPlace(const cv::Mat_<float>& image, cv::Size size) {
    // The largest sum of gradients, each taken as its root so that one hot edge does not outweigh many fine ones.
    const cv::Mat_<float> sound = repaired(image);
    cv::Mat_<float> dx;
    cv::Mat_<float> dy;
    cv::Mat_<float> strength;
    cv::Sobel(sound, dx, CV_32F, 1, 0);
    cv::Sobel(sound, dy, CV_32F, 0, 1);
    cv::magnitude(dx, dy, strength);
    cv::sqrt(strength, strength);
    cv::Mat_<double> sums;
    cv::integral(strength, sums, CV_64F);
    cv::Rect best(cv::Point(), size);
    double most = -1.0;
    for (int y = 0; y + size.height <= image.rows; ++y) {
        for (int x = 0; x + size.width <= image.cols; ++x) {
            const double sum = sums(y + size.height, x + size.width) - sums(y, x + size.width) -
                               sums(y + size.height, x) + sums(y, x);
            if (sum <= most) continue;
            most = sum;
            best = cv::Rect(cv::Point(x, y), size);
        }
    }
    return best;
}

cv::Mat drawComparison(const std::vector<Panel>& panels) {
    const cv::Mat_<float>& truth = panels.back().image;
    const ColourScale scale = ColourScale::of(truth, paletteNamed("inferno"), kClipped);
    const cv::Size view = overviewSize(truth.size());
    const cv::Size detail(std::clamp(view.width / kMagnification, 1, truth.cols),
                          std::clamp(view.height * 3 / 4 / kMagnification, 1, truth.rows));
    const cv::Rect place = richestPlace(truth, detail);
    const cv::Size magnified = detail * kMagnification;

    const int step = std::max(view.width, magnified.width) + kGap;
    const int detailTop = kHeading + view.height + kGap;
    const int bottom = detailTop + magnified.height;
    const int barLeft = kGap + static_cast<int>(panels.size()) * step;
    const cv::Rect bar(barLeft, kHeading, kBarWidth, bottom - kHeading);
    const int barText = colourBarTextWidth(scale, bar.height, "", kText);
    cv::Mat picture(bottom + kGap, bar.br().x + barText + kGap, CV_8UC3, kPaper);

    int left = kGap;
    for (const Panel& panel : panels) {
        drawText(picture, panel.title, {left, 24}, kTitle);
        drawText(picture, panel.caption, {left, 46}, kText);
        const cv::Mat colours = scale.colours(panel.image);
        overview(colours, view).copyTo(picture(cv::Rect(cv::Point(left, kHeading), view)));
        const double ratio = static_cast<double>(view.width) / truth.cols;
        const auto scaled = [&](int pixels) { return static_cast<int>(std::lround(pixels * ratio)); };
        cv::rectangle(picture,
                      cv::Rect(left + scaled(place.x), kHeading + scaled(place.y), scaled(place.width),
                               scaled(place.height)),
                      kFrame);
        cv::resize(colours(place), picture(cv::Rect(cv::Point(left, detailTop), magnified)), magnified, 0.0,
                   0.0, cv::INTER_NEAREST);
        left += step;
    }
    drawColourBar(picture, bar, scale, "", kText);
    return picture;
}

}  // namespace oravo::tools
