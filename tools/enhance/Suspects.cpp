#include "tools/enhance/Suspects.h"

#include <algorithm>
#include <cmath>

#include "tools/base/Messages.h"
#include "tools/measure/FrameMeasures.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

constexpr double kMaskShare = 0.5;  // the library's own limit

constexpr double kMuchNoisier = 4.0;  // than the reference, and
constexpr double kMostlyNoise = 0.2;  // of the contrast

/// The frame that is least like the others where it stands.
std::size_t oddOneOut(const Frames& window) {
    std::size_t odd = 0;
    double largest = -1.0;
    for (std::size_t i = 0; i < window.size(); ++i) {
        std::vector<double> misfits;
        for (const RecordedFrame* other : window) {
            if (other != window[i]) misfits.push_back(misfit(other->detail, window[i]->detail, {}));
        }
        const double typical = vision::detail::upperMedian(misfits);
        if (typical > largest) {
            largest = typical;
            odd = i;
        }
    }
    return odd;
}

/// What is wrong with the frame at a position of the window; empty where nothing is.
std::string complaintAbout(const RecordedFrame& frame, const RecordedFrame& reference,
                           const Enlarged& enlarged, std::size_t position, bool mayBeFar) {
    const cv::Point2f d = enlarged.shifts[position];
    const int wholeRows = reference.values.rows / 10;
    const auto tenth = static_cast<float>(wholeRows);
    if (!mayBeFar && (std::abs(d.x) > tenth || std::abs(d.y) > tenth)) {
        return format("moved by (%.1f, %.1f) pixels, more than a tenth of the frame height",
                      static_cast<double>(d.x), static_cast<double>(d.y));
    }
    const double share = position < enlarged.masks.size() ? cv::mean(enlarged.masks[position])[0] : 1.0;
    if (share <= kMaskShare) {
        return format("agrees with the reference frame in only %.0f %% of its pixels", 100.0 * share);
    }
    if (frame.detail.noise >
        std::max(kMuchNoisier * reference.detail.noise, kMostlyNoise * frame.detail.contrast)) {
        return "is mostly noise, far more than the reference frame";
    }
    const double apart = misfit(reference.detail, frame.detail, d);
    if (apart <= kMisfit) return {};
    return format("does not fit the reference frame where it was found (misfit %.0f %%)", 100.0 * apart);
}

}  // namespace

std::string Suspect::text() const {
    return format("frame %zu ", frame->number) + reason;
}

std::vector<Suspect> suspectsIn(const FrameWindow& looked, const std::optional<Enlarged>& enlarged,
                                bool every) {
    const auto& [window, reference] = looked;
    if (!enlarged) return {{window[oddOneOut(window)], "cannot be aligned with the others"}};
    std::vector<Suspect> suspects;
    for (std::size_t i = 0; i < window.size(); ++i) {
        if (i == reference) continue;
        // Where the camera pans, the newest frame is always the farthest; its image comes with the warning.
        const std::string complaint =
            complaintAbout(*window[i], *window[reference], *enlarged, i, every && i + 1 == window.size());
        if (!complaint.empty()) suspects.push_back({window[i], complaint});
    }
    if (2 * suspects.size() > window.size()) {
        return {{window[reference], "is unlike most of the frames around it"}};
    }
    return suspects;
}

}  // namespace oravo::tools
