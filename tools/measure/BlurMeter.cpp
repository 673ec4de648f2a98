#include "tools/measure/BlurMeter.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kPixel = 1.0;  // side of the square of the second model: pixels that leave no gaps
constexpr double kEvidence =
    4.5;  // log likelihood ratio from which a model is better: three standard deviations
constexpr double kSureness = 0.01;  // of a result at which frames count alike: what differs then is not noise

constexpr double kLeastHeight = 5.0;    // of an edge, over the noise
constexpr double kLeastSide = 0.15;     // share of the pixels that shows the level of one side
constexpr double kLeastLength = 8.0;    // pixels
constexpr double kMostCurved = 1.5;     // pixels
constexpr double kMostUneven = 0.1;     // pixels, beyond what noise explains
constexpr double kMostError = 0.15;     // of the blur
constexpr double kMostSaturated = 0.4;  // share of the pixels of one side that have one extreme value
constexpr double kPhases = 1.5;         // pixels from the edge within which no bin may be empty
constexpr int kSegments = 8;
constexpr double kMayBeOff = 2.0;  // standard errors by which a result may well be off

double squared(double v) {
    return v * v;
}

double degreesOf(const EdgeLine& line) {
    return std::abs(line.angle()) * 180.0 / kPi;
}

double lengthOf(const EdgeFit& fit) {
    double first = 1e30, last = -1e30;
    for (const EdgeSample& s : fit.used) {
        if (std::abs(fit.line.distance(s.x, s.y)) > 1.0) continue;
        first = std::min(first, s.y);
        last = std::max(last, s.y);
    }
    return last >= first ? last - first + 1.0 : 0.0;
}

/// Root mean square distance of the edge's segments from the fitted curve, noise deducted, in pixels.
double unevenness(const EdgeFit& fit) {
    double moved[kSegments] = {}, weight[kSegments] = {};
    const EdgeProfile profile = fit.profile();
    for (std::size_t i = 0; i < fit.used.size(); ++i) {
        const EdgeSample& s = fit.used[i];
        const double slope = profile.at(fit.line.distance(s.x, s.y)).slope * fit.line.height();
        const double place = 0.5 * (s.y / fit.line.reach + 1.0) * kSegments;
        const int segment = std::clamp(static_cast<int>(place), 0, kSegments - 1);
        moved[segment] += slope * fit.misfit[i];
        weight[segment] += slope * slope;
    }
    double squares = 0.0, seen = 0.0;
    for (int i = 0; i < kSegments; ++i) {
        if (!(weight[i] > 0.0)) continue;
        squares += squared(moved[i] / weight[i]) - squared(fit.noise) / weight[i];
        seen += 1.0;
    }
    return std::sqrt(std::max(0.0, squares / std::max(seen, 1.0)));
}

/// The side of the edge, if any, most of which has one extreme value while the other side has noise: 0, 1, or -1.
int saturatedSide(const EdgeFit& fit) {
    double lowest = 1e300, highest = -1e300;
    for (const EdgeSample& s : fit.used) {
        lowest = std::min(lowest, s.value);
        highest = std::max(highest, s.value);
    }
    double extreme[2] = {}, all[2] = {};
    const double foot = 3.0 * fit.profile().spread();
    for (const EdgeSample& s : fit.used) {
        const double u = fit.line.distance(s.x, s.y);
        if (std::abs(u) < foot) continue;
        const int side = u > 0.0 ? 1 : 0;
        all[side] += 1.0;
        if (s.value == lowest || s.value == highest) extreme[side] += 1.0;
    }
    for (int side = 0; side < 2; ++side) {
        const double here = extreme[side] / std::max(all[side], 1.0);
        const double there = extreme[1 - side] / std::max(all[1 - side], 1.0);
        if (here > kMostSaturated && there < 0.5 * here) return side;
    }
    return -1;
}

/// Whether both levels show beside the edge.
bool hasBothSides(const EdgeFit& fit) {
    double sides[2] = {};
    const double foot = 2.0 * fit.profile().spread();
    for (const EdgeSample& s : fit.used) {
        const double u = fit.line.distance(s.x, s.y);
        if (std::abs(u) >= foot) sides[u > 0.0 ? 1 : 0] += 1.0;
    }
    return std::min(sides[0], sides[1]) >= kLeastSide * static_cast<double>(fit.used.size());
}

/// Values that spread by about 1, whatever their unit: fits weigh squares of values against lengths.
struct Scaled {
    explicit Scaled(const cv::Mat_<float>& frame) : values(frame.size()) {
        std::vector<float> sorted;
        std::copy_if(frame.begin(), frame.end(), std::back_inserter(sorted),
                     [](float v) { return std::isfinite(v); });
        std::sort(sorted.begin(), sorted.end());
        const auto between = [&](std::size_t left) {  // out at each end, such as defects
            return static_cast<double>(sorted[sorted.size() - 1 - left]) - static_cast<double>(sorted[left]);
        };
        if (!sorted.empty()) {
            middle = static_cast<double>(sorted[sorted.size() / 2]);
            unit = between(sorted.size() / 20);
            if (!(unit > 0.0)) unit = between(0);
        }
        if (!(unit > 0.0)) unit = 1.0;
        std::transform(frame.begin(), frame.end(), values.begin(), [this](float v) {
            return static_cast<float>((static_cast<double>(v) - middle) / unit);
        });
    }
    cv::Mat_<float> values;
    double middle = 0.0, unit = 0.0;
};

bool lacksPhases(const EdgeFit& fit) {
    EdgeSpread spread;
    spread.add(fit);
    for (int i = 0; i < EdgeSpread::kBins; ++i) {
        if (std::abs(EdgeSpread::distance(i)) < kPhases && spread.isEmpty(i)) return true;
    }
    return false;
}

}  // namespace

double BlurModel::spread() const {
    return std::sqrt(optics * optics + pixel * pixel / 12.0);
}

std::string whyUseless(const EdgeRegion& region, const EdgeFit& fit) {
    if (!fit.converged || fit.used.empty() || !(std::abs(fit.line.height()) > kLeastHeight * fit.noise))
        return "shows no edge that stands out from the noise";
    if (!hasBothSides(fit))
        return "shows too little of the level on one side of the edge; take a larger region, or film an edge "
               "with more room";
    const double length = lengthOf(fit);
    if (length < kLeastLength)
        return format("shows an edge of %.0f pixels; %.0f are the least", length, kLeastLength);
    if (const int side = saturatedSide(fit); side >= 0) {
        const bool bright = (side == 1) == (fit.line.height() > 0.0);
        return format("is saturated: most pixels on the %s side of the edge have one value",
                      bright ? "bright" : "dark");
    }
    if (std::abs(fit.line.c2) > kMostCurved)
        return format(
            "shows an edge that is curved by %.1f pixels; take a straight one, or a shorter piece of it",
            std::abs(fit.line.c2));
    if (const double uneven = unevenness(fit); uneven > kMostUneven)
        return format("shows an edge that is not smooth: it strays from its course by %.2f pixels", uneven);
    if (length * std::tan(std::abs(fit.line.angle())) < 1.0 || lacksPhases(fit))
        return format(
            "shows an edge %.1f degrees off the %s, which lies alike in all pixels along it; tilt it by 5 to "
            "10 degrees",
            degreesOf(fit.line), region.alongRows ? "rows" : "columns");
    if (fit.error > kMostError * fit.optics)
        return format(
            "is too noisy: the blur of this edge is known to %.0f %% only; take a longer edge, more "
            "contrast, or the "
            "mean of some frames",
            100.0 * fit.error / fit.optics);
    return {};
}

/// The fits of one region of a frame.
struct BlurMeter::Measured {
    std::string useless = "shows no straight edge 2 to 43 degrees off its rows or columns";
    cv::Rect region;
    bool alongRows = false;
    EdgeFit gaussian, box;
};

BlurMeter::BlurMeter(std::optional<cv::Rect> region) : region_(region) {
}

void BlurMeter::Sums::add(const EdgeFit& fit, cv::Size size) {
    const double own = 1.0 / (squared(fit.error) + squared(kSureness * fit.profile().spread()));
    weight += own;
    optics += own * fit.optics;
    squares += own * squared(fit.optics);
    shape.add(fit);
    if (deviation.empty()) deviation = cv::Mat_<double>(size, 0.0);
    for (std::size_t i = 0; i < fit.used.size(); ++i) {
        const int place = static_cast<int>(fit.used[i].place);
        deviation(place / size.width, place % size.width) += own * fit.influence[i] * fit.misfit[i];
    }
}

BlurModel BlurMeter::Sums::model(double pixel, int frames) const {
    BlurModel model;
    model.pixel = pixel;
    model.optics = optics / weight;
    const double misfits = cv::norm(deviation, cv::NORM_L2SQR) / squared(weight);
    const double scatter = frames > 1 ? (squares / weight - squared(model.optics)) / (frames - 1) : 0.0;
    model.error = std::sqrt(std::max(misfits, scatter));
    model.misfit = shape.share();
    return model;
}

BlurMeter::Measured BlurMeter::measure(const cv::Mat_<float>& frame, cv::Rect place) const {
    Measured m;
    m.region = place;
    const EdgeRegion region = edgeRegion(frame, place);
    m.alongRows = region.alongRows;
    m.gaussian = fitEdge(region, 0.0);
    m.useless = whyUseless(region, m.gaussian);
    if (m.useless.empty()) m.box = refitEdge(m.gaussian, kPixel);
    return m;
}

/// Of the edges that may be the sharpest, the one that is known best: the one that seems sharpest owes that to its noise.
BlurMeter::Measured BlurMeter::sharpest(const cv::Mat_<float>& frame) const {
    std::vector<Measured> edges;
    for (const cv::Rect& place : edgeCandidates(frame)) {
        Measured m = measure(frame, place);
        if (m.useless.empty()) edges.push_back(std::move(m));
    }
    if (edges.empty()) return {};
    const auto atMost = [](const Measured& m) { return m.gaussian.optics + kMayBeOff * m.gaussian.error; };
    const auto sharper = [&](const Measured& a, const Measured& b) { return atMost(a) < atMost(b); };
    const double least = atMost(*std::min_element(edges.begin(), edges.end(), sharper));
    const auto better = [&](const Measured& a, const Measured& b) {
        const auto cannotBe = [&](const Measured& m) {
            return m.gaussian.optics - kMayBeOff * m.gaussian.error > least;
        };
        return std::make_pair(cannotBe(a), a.gaussian.error) < std::make_pair(cannotBe(b), b.gaussian.error);
    };
    return *std::min_element(edges.begin(), edges.end(), better);
}

std::string BlurMeter::add(const cv::Mat_<float>& frame) {
    ++measured_.frames;
    const Scaled scaled(frame);
    Measured m;
    if (region_ || last_) m = measure(scaled.values, region_ ? *region_ : *last_);
    if (!region_ && !m.useless.empty()) m = sharpest(scaled.values);
    if (!m.useless.empty()) return m.useless;
    last_ = m.region;
    if (++measured_.used == 1) {
        const EdgeLine& line = m.gaussian.line;
        measured_.edge = {m.region,
                          m.alongRows,
                          degreesOf(line),
                          scaled.middle + scaled.unit * std::min(line.levels(0), line.levels(3)),
                          scaled.middle + scaled.unit * std::max(line.levels(0), line.levels(3)),
                          scaled.unit * m.gaussian.noise,
                          std::abs(line.c2)};
    }
    gaussian_.add(m.gaussian, frame.size());
    alone_ +=
        squared(m.gaussian.error / (squared(m.gaussian.error) + squared(kSureness * m.gaussian.optics)));
    measured_.spread.add(m.gaussian);
    if (m.box.converged) {
        box_.add(m.box, frame.size());
        const auto squaresOf = [](const EdgeFit& fit) {
            return squared(fit.noise) + squared(1e-9 * fit.line.height());
        };
        evidence_ +=
            0.5 * static_cast<double>(m.box.used.size()) * std::log(squaresOf(m.gaussian) / squaresOf(m.box));
    }
    return {};
}

BlurMeasurement BlurMeter::result() const {
    BlurMeasurement m = measured_;
    m.gaussian = gaussian_.model(0.0, m.used);
    if (!(box_.weight > 0.0)) return m;
    m.box = box_.model(kPixel, m.used);
    // Misfits that frames share count once: by so much the error of all frames exceeds that of independent ones.
    const double independent = alone_ / squared(gaussian_.weight);
    const double shared = std::max(1.0, squared(m.gaussian.error) / std::max(independent, 1e-300));
    m.boxFitsBetter = evidence_ > kEvidence * shared;
    return m;
}

}  // namespace oravo::tools
