#include "tools/Comparison.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <opencv2/imgproc.hpp>

#include "tools/Decode.h"
#include "tools/Messages.h"
#include "tools/Metrics.h"

namespace oravo::tools {
namespace {

constexpr int kPanelWidth = 400;  // about; small images are enlarged by whole factors
constexpr int kGap = 14;
constexpr int kHeading = 58;
constexpr int kBarWidth = 22;
constexpr int kBarText = 92;
constexpr int kMagnification = 6;  // of the detail, in picture pixels for one of the image
constexpr double kTitleSize = 0.62;
constexpr double kTextSize = 0.45;
const cv::Scalar kPaper(255, 255, 255);
const cv::Scalar kInk(30, 30, 30);
const cv::Scalar kFrame(255, 255, 255);
const cv::Scalar kNoValue(128, 128, 128);

struct ColourScale {
    double lowest;
    double highest;

    cv::Mat colours(const cv::Mat_<float>& image) const {
        const double scale = 255.0 / std::max(highest - lowest, 1e-12);
        cv::Mat levels;
        repaired(image).convertTo(levels, CV_8U, scale, -lowest * scale);
        cv::Mat view;
        cv::applyColorMap(levels, view, cv::COLORMAP_INFERNO);
        view.setTo(kNoValue, valueMask(image) == 0);
        return view;
    }
};

/// From the 1st to the 99th percentile: a few hot pixels would leave the rest without contrast.
ColourScale scaleOf(const cv::Mat_<float>& image) {
    std::vector<float> values;
    std::copy_if(image.begin(), image.end(), std::back_inserter(values), isValue);
    if (values.empty()) return {0.0, 1.0};
    const auto percentile = [&](std::size_t percent) {
        const auto place = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) * percent / 100);
        std::nth_element(values.begin(), place, values.end());
        return static_cast<double>(*place);
    };
    const double lowest = percentile(1);
    return {lowest, percentile(99)};
}

/// The place of the given size with the most structure: the largest sum of gradients, each taken as its root
/// so that one hot edge does not outweigh many fine ones.
cv::Rect richestPlace(const cv::Mat_<float>& image, cv::Size size) {
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

void write(cv::Mat& picture, const std::string& text, cv::Point at, double size) {
    cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, size, kInk, 1, cv::LINE_AA);
}

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

void drawBar(cv::Mat& picture, const ColourScale& scale, cv::Rect bar) {
    cv::Mat_<float> ramp(bar.height, 1);
    for (int r = 0; r < bar.height; ++r) {
        const double up = 1.0 - (r + 0.5) / bar.height;
        ramp(r, 0) = static_cast<float>(scale.lowest + up * (scale.highest - scale.lowest));
    }
    cv::resize(scale.colours(ramp), picture(bar), bar.size(), 0.0, 0.0, cv::INTER_NEAREST);
    constexpr int kSteps = 5;
    const double span = std::max(scale.highest - scale.lowest, 1e-12);
    const int decimals = std::clamp(2 - static_cast<int>(std::floor(std::log10(span))), 0, 6);
    for (int i = 0; i <= kSteps; ++i) {
        const double share = static_cast<double>(i) / kSteps;
        const int y = bar.y + static_cast<int>(std::lround((1.0 - share) * (bar.height - 1)));
        cv::line(picture, {bar.x + bar.width, y}, {bar.x + bar.width + 4, y}, kInk);
        const double value = scale.lowest + share * (scale.highest - scale.lowest);
        // The ends stand for all that lies beyond them, too.
        const char* beyond = i == 0 ? "< " : i == kSteps ? "> " : "";
        write(picture, format("%s%.*f", beyond, decimals, value), {bar.x + bar.width + 8, y + 5}, kTextSize);
    }
}

}  // namespace

cv::Mat drawComparison(const std::vector<Panel>& panels) {
    const cv::Mat_<float>& truth = panels.back().image;
    const ColourScale scale = scaleOf(truth);
    const cv::Size view = overviewSize(truth.size());
    const cv::Size detail(std::clamp(view.width / kMagnification, 1, truth.cols),
                          std::clamp(view.height * 3 / 4 / kMagnification, 1, truth.rows));
    const cv::Rect place = richestPlace(truth, detail);
    const cv::Size magnified = detail * kMagnification;

    const int step = std::max(view.width, magnified.width) + kGap;
    const int detailTop = kHeading + view.height + kGap;
    const int bottom = detailTop + magnified.height;
    const int barLeft = kGap + static_cast<int>(panels.size()) * step;
    cv::Mat picture(bottom + kGap, barLeft + kBarWidth + kBarText, CV_8UC3, kPaper);

    int left = kGap;
    for (const Panel& panel : panels) {
        write(picture, panel.title, {left, 24}, kTitleSize);
        write(picture, panel.caption, {left, 46}, kTextSize);
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
    drawBar(picture, scale, cv::Rect(barLeft, kHeading, kBarWidth, bottom - kHeading));
    return picture;
}

}  // namespace oravo::tools
