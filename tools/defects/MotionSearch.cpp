#include "tools/defects/MotionSearch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <set>

#include "tools/base/Progress.h"
#include "vision/superresolution/SrPrecise.h"

namespace oravo::tools {
namespace {

constexpr std::size_t kFrames = 12;     // of a group
constexpr std::size_t kMostGroups = 8;  // of one spacing
constexpr std::size_t kSpread = 4;      // times farther apart are frames where the scene moves too little
constexpr int kFewestUsed = 3;          // frames of a group that show the scene
// What the scene hides in some groups shows in others; what a group takes for a bad pixel by mistake moves on.
constexpr double kLeastVotes = 0.3;  // share of the groups that move
constexpr int kLeastOfSeveral = 2;
constexpr std::size_t kMostConfirming = 4;  // groups that are looked at once more

/// Groups of frames, spread evenly over a recording, whose frames lie so far apart; those of short recordings overlap by
/// half.
std::vector<std::vector<std::size_t>> groupsOf(std::size_t count, std::size_t spacing) {
    const std::size_t size = std::min(kFrames, (count - 1) / spacing + 1);
    const std::size_t reach = (size - 1) * spacing + 1;
    const std::size_t number = std::clamp<std::size_t>(2 * (count - reach) / reach + 1, 1, kMostGroups);
    std::vector<std::vector<std::size_t>> groups;
    for (std::size_t g = 0; g < number; ++g) {
        const std::size_t first = number == 1 ? (count - reach) / 2 : g * (count - reach) / (number - 1);
        groups.emplace_back();
        for (std::size_t i = 0; i < size; ++i) groups.back().push_back(first + i * spacing);
    }
    return groups;
}

bool hasAnyValue(const cv::Mat_<float>& frame) {
    return std::any_of(frame.begin(), frame.end(), [](float v) { return std::isfinite(v); });
}

/// What a group shows of a sensor with bad pixels that are known; nothing where the scene does not move.
std::optional<vision::SrPreciseResult> explained(const FrameSequence& frames,
                                                 const std::vector<std::size_t>& group,
                                                 const std::vector<cv::Point>& known) {
    std::vector<cv::Mat_<float>> images;
    images.reserve(group.size());
    for (const std::size_t index : group) images.push_back(frames.read(index));
    const std::size_t reference = images.size() / 2;
    if (!hasAnyValue(images[reference])) return std::nullopt;
    vision::SrPreciseOptions options;
    options.lowest = std::numeric_limits<float>::lowest();
    options.highest = std::numeric_limits<float>::max();
    options.deviation = false;
    const vision::SrPrecise engine(images[0].cols, images[0].rows, options);
    vision::SrPreciseResult result = engine.compute(images, static_cast<int>(reference), known);
    if (result.usedFrames() < kFewestUsed || !result.sceneMoves) return std::nullopt;
    return result;
}

/// What the groups of one spacing have in common.
class Votes {
  public:
    explicit Votes(const FrameSequence& frames) : frames_(frames) {}

    void look(const std::vector<std::size_t>& group) {
        // A bad pixel that one group has shown is seen more easily by the next, whose image is made without it.
        const auto result = explained(frames_, group, known_);
        if (!result) return;
        known_ = result->deadPixels;
        movements_.push_back(result->movement);
        seen_.insert(group.begin(), group.end());
        if (votes_.empty()) votes_ = cv::Mat_<int>(result->weight.size() / 2, 0);
        for (const cv::Point place : result->deadPixels) ++votes_(place);
    }

    int moving() const { return static_cast<int>(movements_.size()); }

    MotionFindings findings(int groups) const {
        MotionFindings findings;
        findings.windows = groups;
        findings.moving = moving();
        findings.seen.assign(seen_.begin(), seen_.end());
        if (movements_.empty()) return findings;
        std::vector<double> sorted(movements_);
        std::sort(sorted.begin(), sorted.end());
        findings.movement = sorted[sorted.size() / 2];
        const int least = moving() > 1 ? kLeastOfSeveral : 1;
        const int enough = std::max(least, static_cast<int>(std::ceil(kLeastVotes * moving())));
        for (int y = 0; y < votes_.rows; ++y) {
            for (int x = 0; x < votes_.cols; ++x) {
                if (votes_(y, x) >= enough) findings.pixels.emplace_back(x, y);
            }
        }
        return findings;
    }

  private:
    const FrameSequence& frames_;
    std::vector<double> movements_;
    std::set<std::size_t> seen_;
    std::vector<cv::Point> known_;  // from the groups so far
    cv::Mat_<int> votes_;
};

/// The pixels that stay bad in most groups when these are explained without them: next to sharp detail, a good one may
/// misfit an image that bad ones spoil.
std::vector<cv::Point> confirmed(const std::vector<cv::Point>& pixels, const FrameSequence& frames,
                                 const std::vector<std::vector<std::size_t>>& groups) {
    if (pixels.empty()) return pixels;
    const std::size_t number = std::min(groups.size(), kMostConfirming);
    std::vector<int> votes(pixels.size());
    int looked = 0;
    Progress progress("group of frames, once more", number);
    for (std::size_t i = 0; i < number; ++i) {
        if (const auto result = explained(frames, groups[i * groups.size() / number], pixels)) {
            ++looked;
            for (std::size_t k = 0; k < pixels.size(); ++k)
                votes[k] += static_cast<int>(
                    std::count(result->deadPixels.begin(), result->deadPixels.end(), pixels[k]));
        }
        progress.done(i + 1);
    }
    std::vector<cv::Point> kept;
    for (std::size_t k = 0; k < pixels.size(); ++k) {
        if (2 * votes[k] >= looked) kept.push_back(pixels[k]);
    }
    return kept;
}

}  // namespace

MotionFindings findByMotion(const FrameSequence& frames) {
    MotionFindings best;
    for (std::size_t spacing = 1;; spacing *= kSpread) {
        const auto groups = groupsOf(frames.count, spacing);
        if (groups.front().size() < kFewestForMotion) return best;
        Votes votes(frames);
        Progress progress("group of frames", groups.size());
        for (std::size_t g = 0; g < groups.size(); ++g) {
            votes.look(groups[g]);
            progress.done(g + 1);
        }
        MotionFindings found = votes.findings(static_cast<int>(groups.size()));
        if (found.movement > best.movement) {
            found.pixels = confirmed(found.pixels, frames, groups);
            best = found;
        }
        if (2 * best.moving >= best.windows && best.movement >= kAmpleMovement) return best;
    }
}

}  // namespace oravo::tools
