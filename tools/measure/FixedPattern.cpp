#include "tools/measure/FixedPattern.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "tools/measure/FrameMeasures.h"
#include "tools/measure/Metrics.h"
#include "tools/simulate/Camera.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

using Frames = std::vector<cv::Mat_<float>>;
using Shifts = std::vector<cv::Point2f>;

constexpr int kMostColumns = 320, kMostRows = 256;  // of the sensor's middle, which is enough
constexpr int kBorder = 4;                          // pixels that the image knows less well
constexpr int kSmallest = 24;
constexpr float kApart = 0.5f;  // pixels between two frames that count
constexpr int kFewestPairs = 2;
constexpr double kOutlier = 3.0;  // deviations

// Set on bursts rendered with and without patterns; see docs/limits.md.
constexpr double kLine = 0.0075, kPixel = 0.025;  // least deviation, of the contrast
constexpr double kLeastOfRemainder = 0.12;        // of the variance of what is left of lines
constexpr double kMostAgainst = 0.55;             // of pixels: how far the scene's places may disagree

/// What the frames agree on, as mean products of their remainders.
struct Agreement {
    double onSensor = 0.0, onScene = 0.0;
    int pairs = 0;
};

/// The part of the sensor that sees the image in all frames, or its middle.
cv::Rect partOf(cv::Size size, const Shifts& shifts) {
    float farthest = 0.0f;
    for (const cv::Point2f d : shifts) {
        if (!std::isfinite(d.x) || !std::isfinite(d.y)) return {};
        farthest = std::max({farthest, std::abs(d.x), std::abs(d.y)});
    }
    const int border =
        kBorder + static_cast<int>(std::ceil(std::min(farthest, static_cast<float>(size.width))));
    const cv::Size left(std::min(size.width - 2 * border, kMostColumns),
                        std::min(size.height - 2 * border, kMostRows));
    if (left.width < kSmallest || left.height < kSmallest) return {};
    return {(size.width - left.width) / 2, (size.height - left.height) / 2, left.width, left.height};
}

cv::Mat_<float> withoutOutliers(const cv::Mat_<float>& image) {
    std::vector<float> magnitudes;
    for (const float value : image) magnitudes.push_back(std::abs(value));
    const auto typical = static_cast<double>(vision::detail::upperMedian(std::move(magnitudes)));
    const double most = kOutlier / 0.6745 * typical;
    cv::Mat_<float> result;
    cv::max(cv::min(image, most), -most, result);
    return result;
}

/// What the image leaves unexplained of a part of each frame.
Frames remaindersOf(const Frames& frames, const Shifts& shifts, const cv::Mat_<float>& image, float psfSigma,
                    cv::Rect part) {
    const Camera camera(static_cast<double>(psfSigma));
    const int margin = camera.reach() + 1;
    cv::Mat_<float> wide;
    cv::copyMakeBorder(repaired(image), wide, margin, margin, margin, margin, cv::BORDER_REPLICATE);
    const cv::Point2d origin(margin + 0.5 + Camera::kFactor * part.x,
                             margin + 0.5 + Camera::kFactor * part.y);
    Frames all;
    for (std::size_t k = 0; k < frames.size(); ++k) {
        const cv::Mat_<float> expected = camera.frame(wide, part.size(), origin, cv::Point2d(shifts[k]));
        cv::Mat_<float> remainder;
        cv::subtract(repaired(frames[k])(part), expected, remainder);
        all.push_back(withoutOutliers(remainder));
    }
    return all;
}

/// Without what changes slowly, which frames have of their own and scenes, too.
cv::Mat_<float> withoutLevel(const cv::Mat_<float>& image, cv::Size window) {
    cv::Mat_<float> level, result;
    cv::blur(image, level, window);
    cv::subtract(image, level, result);
    return result;
}

cv::Mat_<float> movedBack(const cv::Mat_<float>& image, cv::Point2f shift) {
    const cv::Matx23f toFrame(1.0f, 0.0f, shift.x, 0.0f, 1.0f, shift.y);
    cv::Mat_<float> moved;
    cv::warpAffine(image, moved, toFrame, image.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                   cv::BORDER_REPLICATE);
    return moved;
}

double meanProduct(const cv::Mat_<float>& a, const cv::Mat_<float>& b) {
    return a.dot(b) / static_cast<double>(a.total());
}

Agreement agreementOf(const Frames& remainders, const Shifts& shifts) {
    Frames moved;
    for (std::size_t k = 0; k < remainders.size(); ++k) moved.push_back(movedBack(remainders[k], shifts[k]));
    Agreement found;
    for (std::size_t k = 0; k < remainders.size(); ++k) {
        for (std::size_t l = 0; l < k; ++l) {
            if (cv::norm(shifts[k] - shifts[l]) < static_cast<double>(kApart)) continue;
            found.onSensor += meanProduct(remainders[k], remainders[l]);
            found.onScene += meanProduct(moved[k], moved[l]);
            ++found.pairs;
        }
    }
    found.onSensor /= std::max(found.pairs, 1);
    found.onScene /= std::max(found.pairs, 1);
    return found;
}

/// @param along  0: the mean of each column, as one row
Frames profilesOf(const Frames& remainders, int along) {
    constexpr int kWindow = 9;
    Frames profiles;
    for (const cv::Mat_<float>& remainder : remainders) {
        cv::Mat_<float> profile;
        cv::reduce(remainder, profile, along, cv::REDUCE_AVG, CV_32F);
        profiles.push_back(withoutLevel(profile, along == 0 ? cv::Size(kWindow, 1) : cv::Size(1, kWindow)));
    }
    return profiles;
}

std::optional<FixedPattern> patternOf(FixedPattern::Kind kind, const Agreement& found, double least,
                                      double contrast) {
    const bool sensor = found.pairs >= kFewestPairs && found.onSensor > 0.0 && found.onScene < 0.0;
    const double share = sensor ? std::sqrt(found.onSensor) / contrast : 0.0;
    if (!(share > least)) return std::nullopt;
    return FixedPattern{kind, std::sqrt(found.onSensor), share};
}

std::optional<FixedPattern> lines(FixedPattern::Kind kind, const Frames& remainders, Shifts shifts,
                                  double contrast) {
    const bool columns = kind == FixedPattern::Kind::columns;
    for (cv::Point2f& d : shifts) (columns ? d.y : d.x) = 0.0f;
    const Frames profiles = profilesOf(remainders, columns ? 0 : 1);
    const Agreement found = agreementOf(profiles, shifts);
    double variance = 0.0;
    for (const cv::Mat_<float>& profile : profiles) variance += meanProduct(profile, profile);
    if (found.onSensor < kLeastOfRemainder * variance / static_cast<double>(profiles.size()))
        return std::nullopt;
    return patternOf(kind, found, kLine, contrast);
}

std::optional<FixedPattern> pixels(const Frames& remainders, const Shifts& shifts, double contrast) {
    Frames fine;
    for (const cv::Mat_<float>& remainder : remainders) fine.push_back(withoutLevel(remainder, {5, 5}));
    const Agreement found = agreementOf(fine, shifts);
    if (-found.onScene > kMostAgainst * found.onSensor) return std::nullopt;
    return patternOf(FixedPattern::Kind::pixels, found, kPixel, contrast);
}

}  // namespace

std::optional<FixedPattern> FixedPattern::in(const std::vector<cv::Mat_<float>>& frames,
                                             const std::vector<cv::Point2f>& shifts,
                                             const cv::Mat_<float>& image, float psfSigma) {
    const cv::Rect part = partOf(frames.front().size(), shifts);
    const double contrast = contrastOf(repaired(frames.front()));
    if (part.empty() || !(contrast > 0.0)) return std::nullopt;
    const Frames remainders = remaindersOf(frames, shifts, image, psfSigma, part);
    std::optional<FixedPattern> found = lines(Kind::columns, remainders, shifts, contrast);
    if (!found) found = lines(Kind::rows, remainders, shifts, contrast);
    if (!found) found = pixels(remainders, shifts, contrast);
    return found;
}

}  // namespace oravo::tools
