#include "tools/pictures/ColourScale.h"

#include <algorithm>
#include <iterator>
#include <opencv2/imgproc.hpp>

#include "tools/measure/Metrics.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

constexpr int kColours = 256;

struct Stop {
    double place;  ///< 0 lowest, 1 highest
    int red, green, blue;
};

/// Straight lines between the stops.
Palette between(const std::vector<Stop>& stops) {
    Palette palette(kColours, 1);
    std::size_t next = 1;
    for (int i = 0; i < kColours; ++i) {
        const double place = static_cast<double>(i) / (kColours - 1);
        while (next + 1 < stops.size() && stops[next].place < place) ++next;
        const Stop& a = stops[next - 1];
        const Stop& b = stops[next];
        const double share = (place - a.place) / (b.place - a.place);
        const auto mix = [share](int from, int to) {
            return cv::saturate_cast<uchar>(from + share * (to - from));
        };
        palette(i) = {mix(a.blue, b.blue), mix(a.green, b.green), mix(a.red, b.red)};
    }
    return palette;
}

Palette ofCodec(cv::ColormapTypes map) {
    cv::Mat_<uchar> levels(kColours, 1);
    for (int i = 0; i < kColours; ++i) levels(i) = static_cast<uchar>(i);
    Palette palette;
    cv::applyColorMap(levels, palette, map);
    return palette;
}

struct Named {
    const char* name;
    Palette (*make)();
};

const Named kPalettes[] = {{kDefaultPalette,
                            [] {
                                return between({{0.0, 0, 0, 0},
                                                {0.12, 28, 4, 92},
                                                {0.30, 116, 0, 146},
                                                {0.48, 190, 32, 118},
                                                {0.64, 236, 96, 36},
                                                {0.80, 252, 166, 12},
                                                {0.92, 255, 226, 92},
                                                {1.0, 255, 255, 246}});
                            }},
                           {"grey",
                            [] {
                                return between({{0.0, 0, 0, 0}, {1.0, 255, 255, 255}});
                            }},
                           {"grey-inverted",
                            [] {
                                return between({{0.0, 255, 255, 255}, {1.0, 0, 0, 0}});
                            }},
                           {"inferno", [] { return ofCodec(cv::COLORMAP_INFERNO); }},
                           {"rainbow", [] { return ofCodec(cv::COLORMAP_TURBO); }}};

std::vector<float> valuesOf(const cv::Mat_<float>& image) {
    std::vector<float> values;
    std::copy_if(image.begin(), image.end(), std::back_inserter(values), isValue);
    return values;
}

bool isGrey(const Palette& palette) {
    return std::all_of(palette.begin(), palette.end(),
                       [](const cv::Vec3b& c) { return c[0] == c[1] && c[1] == c[2]; });
}

}  // namespace

std::vector<std::string> paletteNames() {
    std::vector<std::string> names;
    for (const Named& palette : kPalettes) names.emplace_back(palette.name);
    return names;
}

Palette paletteNamed(const std::string& name) {
    const auto* const found = std::find_if(std::begin(kPalettes), std::end(kPalettes),
                                           [&](const Named& palette) { return name == palette.name; });
    CV_Assert(found != std::end(kPalettes));
    return found->make();
}

ColourScale ColourScale::of(const cv::Mat_<float>& image, const Palette& palette, double percentile) {
    std::vector<float> values = valuesOf(image);
    if (values.empty()) return {0.0, 1.0, palette};
    const auto valueAt = [&](double percent) {
        const double place = static_cast<double>(values.size() - 1) * percent / 100.0;
        return static_cast<double>(vision::detail::valueAtPlace(values, static_cast<std::size_t>(place)));
    };
    const double lowest = valueAt(percentile);
    return within(lowest, valueAt(100.0 - percentile), image, palette);
}

ColourScale ColourScale::withoutOutliers(const cv::Mat_<float>& image, const Palette& palette) {
    constexpr double kOutliers = 0.05;  // percent
    constexpr double kMostSpan = 0.5;   // of that of all other values
    ColourScale all = of(image, palette);
    const ColourScale most = of(image, palette, kOutliers);
    const double spare = kMostSpan * (most.highest - most.lowest);
    if (!(spare > 0.0)) return all;
    return within(most.lowest - all.lowest > spare ? most.lowest : all.lowest,
                  all.highest - most.highest > spare ? most.highest : all.highest, image, palette);
}

ColourScale ColourScale::within(double lowest, double highest, const cv::Mat_<float>& image,
                                const Palette& palette) {
    const std::vector<float> values = valuesOf(image);
    const auto beyond = [&](auto test) { return std::any_of(values.begin(), values.end(), test); };
    return {lowest, highest, palette, beyond([=](float v) { return static_cast<double>(v) < lowest; }),
            beyond([=](float v) { return static_cast<double>(v) > highest; })};
}

cv::Vec3b ColourScale::noValue() const {
    return isGrey(palette) ? cv::Vec3b(200, 120, 40) : cv::Vec3b(128, 128, 128);
}

cv::Mat_<cv::Vec3b> ColourScale::colours(const cv::Mat_<float>& image) const {
    const bool flat = !(highest > lowest);
    const double scale = flat ? 0.0 : (kColours - 1) / (highest - lowest);
    const cv::Vec3b none = noValue();
    cv::Mat_<cv::Vec3b> view(image.size());
    std::transform(image.begin(), image.end(), view.begin(), [&](float v) {
        if (!isValue(v)) return none;
        const int level =
            flat ? kColours / 2 : cv::saturate_cast<uchar>((static_cast<double>(v) - lowest) * scale);
        return palette(level);
    });
    return view;
}

}  // namespace oravo::tools
