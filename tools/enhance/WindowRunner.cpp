#include "tools/enhance/WindowRunner.h"

#include <algorithm>
#include <cmath>

#include "tools/base/Messages.h"
#include "tools/enhance/StreamGuard.h"
#include "tools/measure/FixedPattern.h"
#include "tools/measure/FrameMeasures.h"
#include "vision/superresolution/detail/numerics/Quantiles.h"

namespace oravo::tools {
namespace {

constexpr std::size_t kFull = static_cast<std::size_t>(Enhancer::kWindowSize);
constexpr std::size_t kFewest = 3;  // frames that an image is made of where no older ones are left
constexpr int kAttempts = 5;        // windows tried for one image, the last without older frames

constexpr float kSameWeight = 1.25f;         // factor within which a new weight is not worth a new pipeline
constexpr float kMuchTooLargeWeight = 3.0f;  // factor beyond which a user's weight is commented on

Frames newestOf(const Frames& pool) {
    return {pool.end() - static_cast<std::ptrdiff_t>(std::min(pool.size(), kFull)), pool.end()};
}

/// Where the reference stands in the window; the frame counted back from the newest if it is not there.
std::size_t placeOfReference(const Frames& window, const RecordedFrame* reference, int countedBack) {
    const auto place = std::find(window.begin(), window.end(), reference);
    if (place != window.end()) return static_cast<std::size_t>(place - window.begin());
    return window.size() - 1 - std::min(static_cast<std::size_t>(countedBack), window.size() - 1);
}

/// Whether all frames sample the same quarter of a pixel, so that no other sample of a twofold enlargement was seen.
bool inOneQuarter(const std::vector<cv::Point2f>& shifts) {
    const auto quarter = [](cv::Point2f d) {
        return cv::Point(cvRound(2.0f * d.x) & 1, cvRound(2.0f * d.y) & 1);
    };
    return std::all_of(shifts.begin(), shifts.end(),
                       [&](cv::Point2f d) { return quarter(d) == quarter(shifts.front()); });
}

template <class Condition>
void dropIf(Frames& frames, Condition condition) {
    frames.erase(std::remove_if(frames.begin(), frames.end(), condition), frames.end());
}

void dropOlderThan(const RecordedFrame& oldest, Frames& frames) {
    dropIf(frames, [&oldest](const auto* frame) { return frame->number < oldest.number; });
}

}  // namespace

void FindOnce::operator()(const Guard& guard) {
    const bool first =
        guard.frame ? foundIn_[guard.name].add(*guard.frame) : found_.insert(guard.name).second;
    if (first) findings_.warn(guard);
}

WindowRunner::WindowRunner(cv::Size frameSize, const EnhanceParameters& parameters, bool every,
                           Findings& findings)
    : every_(every),
      enhancer_(frameSize, parameters),
      parameters_(enhancer_.parameters()),
      findings_(findings),
      findOnce_(findings) {
}

std::optional<Enlarged> WindowRunner::run(const Frames& pool, Refusal& refusal) {
    if (!parameters_.guarded) {
        const Frames window = newestOf(pool);
        load(window, placeOfReference(window, nullptr, *parameters_.referenceIndex));
        return enhancer_.run(refusal);
    }
    std::optional<Enlarged> result = runGuarded(pool, refusal);
    // The gain counts frames that agree, but these agree on places of the scene that one of them shows, too.
    if (result && inOneQuarter(result->shifts)) result->gain = 0.0f;
    if (result && vision::detail::mayBeInPhase(result->shifts) &&
        samePhase(result->inputs, result->shifts, result->placeOfReference())) {
        result->gain = 0.0f;
        findOnce_(
            {"phase",
             {},
             "the frames lie whole pixels apart (a tripod?): they hold less noise together, but no more "
             "detail than one of them; without noise the image may be worse than its bicubic enlargement",
             ""});
    } else if (result) {
        lookForPattern(*result);
    }
    return result;
}

/// Looks at images that share no frame, until a pattern was found: looking takes longer than an image. So it becomes rarer,
/// and less than one image in a hundred of a stream is late for it.
void WindowRunner::lookForPattern(const Enlarged& enlarged) {
    if (patternSaid_ || enlarged.newest < nextLook_) return;
    nextLook_ = enlarged.newest + lookPause_;
    lookPause_ = std::min(4 * lookPause_, 64 * kFull);
    const std::optional<FixedPattern> found =
        FixedPattern::in(enlarged.inputs, enlarged.shifts, enlarged.image, parameters_.psfSigma);
    if (!found) return;
    patternSaid_ = true;
    const char* what = found->kind == FixedPattern::Kind::columns ? "fixed columns"
                       : found->kind == FixedPattern::Kind::rows  ? "fixed rows"
                                                                  : "a fixed pattern of pixels";
    findings_.warn(
        Guard{"fixed pattern",
              {},
              format("the sensor has %s of %.2g or more (%.0f %% of the contrast), which the scene moves "
                     "over and the image sharpens; --pipeline precise subtracts %s, as does --fixed-pattern "
                     "with the file of pattern learn",
                     what, found->deviation, 100.0 * found->share,
                     found->kind == FixedPattern::Kind::pixels ? "it" : "them"),
              ""});
}

/// Tries windows until one is free of suspects. Where none is, the first image stands.
std::optional<Enlarged> WindowRunner::runGuarded(const Frames& pool, Refusal& refusal) {
    Search search{pool, pool.back()};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const std::optional<FrameWindow> window = chooseWindow(search);
        if (!window) break;
        const bool allUsable = load(window->frames, window->reference);
        if (every_ && unusable_.hold(search.newest->number)) {
            refusal.reason = format("frame %zu has too many defective pixels", search.newest->number);
            return std::nullopt;
        }
        if (!allUsable) continue;

        Refusal why;
        std::optional<Enlarged> result = enhancer_.run(why);
        if (!search.first) refusal = why;

        const std::vector<Suspect> suspects = suspectsIn(*window, result, every_);
        if (suspects.empty()) {
            if (!search.leftOut.empty()) findings_.warn(Guard{"alignment", {}, search.leftOut, "left out"});
            return result;
        }
        if (!search.first) search.first = std::move(result);
        if (const Suspect* newest = needed(suspects, search.newest)) {
            refusal.reason = newest->text();
            return std::nullopt;
        }
        exclude(suspects, search);
        // After a cut, older frames only bring in more of the scene before it.
        if (attempt + 2 >= kAttempts) dropOlderThan(*window->frames.front(), search.pool);
    }
    return firstImage(search, refusal);
}

/// The newest usable frames; none where there are too few. The reference stays the same frame while it is usable.
std::optional<FrameWindow> WindowRunner::chooseWindow(Search& search) const {
    dropIf(search.pool, [&](const auto* frame) { return unusable_.hold(frame->number); });
    if (search.pool.size() < kFewest) return std::nullopt;
    FrameWindow window{newestOf(search.pool), 0};
    window.reference = placeOfReference(window.frames, search.reference, *parameters_.referenceIndex);
    search.reference = window.frames[window.reference];
    return window;
}

/// The suspect that an image has to hold all the same, since one is wanted for each frame; null where there is none.
const Suspect* WindowRunner::needed(const std::vector<Suspect>& suspects, const RecordedFrame* newest) const {
    if (!every_) return nullptr;
    const auto found = std::find_if(suspects.begin(), suspects.end(),
                                    [newest](const Suspect& suspect) { return suspect.frame == newest; });
    return found == suspects.end() ? nullptr : &*found;
}

void WindowRunner::exclude(const std::vector<Suspect>& suspects, Search& search) {
    for (const Suspect& suspect : suspects) {
        if (!search.leftOut.empty()) search.leftOut += "; ";
        search.leftOut += suspect.text();
        dropIf(search.pool, [&](const auto* frame) { return frame == suspect.frame; });
    }
}

/// What stands where no window was free of suspects: the first image, or none and the reason.
std::optional<Enlarged> WindowRunner::firstImage(Search& search, Refusal& refusal) {
    if (search.first && !search.leftOut.empty()) {
        findings_.warn(Guard{
            "alignment",
            {},
            search.leftOut,
            "no window without such frames was found; the image may be worse than a bicubic enlargement"});
    }
    if (!search.first && refusal.reason.empty()) refusal.reason = "too few usable frames";
    return std::move(search.first);
}

bool WindowRunner::load(const Frames& window, std::size_t reference) {
    const int countedBack = static_cast<int>(window.size() - 1 - reference);
    const float weight = weightFor(window);
    std::vector<std::size_t> wanted;
    for (const RecordedFrame* frame : window) wanted.push_back(frame->number);
    const std::vector<std::size_t> loaded = enhancer_.window();
    const bool same = enhancer_.parameters().referenceIndex == countedBack &&
                      enhancer_.parameters().tvWeight == weight && !loaded.empty();
    if (same && loaded == wanted) return true;
    const bool follows = same && loaded.size() == kFull && wanted.size() == kFull &&
                         std::equal(loaded.begin() + 1, loaded.end(), wanted.begin());
    if (follows) return takeIn(*window.back());
    enhancer_.restart(countedBack, weight);
    bool allUsable = true;
    for (const RecordedFrame* frame : window) allUsable = takeIn(*frame) && allUsable;
    return allUsable;
}

bool WindowRunner::takeIn(const RecordedFrame& frame) {
    const Enhancer::Intake intake = enhancer_.addFrame(frame.number, frame.values);
    const bool newlyRefused = intake.refused && unusable_.add(frame.number);
    if (intake.problem.empty() || (frame.quiet && !intake.refused)) return true;
    const std::string what = format("frame %zu (%s) ", frame.number, frame.name.c_str()) + intake.problem;
    if (intake.refused) {
        findOnce_({"defects", frame.number, what, parameters_.guarded ? "left out" : ""});
    } else {
        // A cluster of defects is there in every frame of a camera.
        findOnce_({"stand-in", {}, what + " (reported for the first such frame only)", ""});
    }
    return !newlyRefused;
}

float WindowRunner::weightFor(const Frames& window) {
    const float given = parameters_.tvWeight;
    if (!parameters_.guarded) return given;
    std::vector<double> shares;
    for (const RecordedFrame* frame : window) {
        const double contrast = frame->detail.contrast;
        shares.push_back(contrast > 0.0 ? frame->detail.noise / contrast : 0.0);
    }
    const double share = vision::detail::upperMedian(shares);
    const float advised = weightForNoise(share, given);
    if (!parameters_.chooseWeight) {
        if (kMuchTooLargeWeight * advised < given) {
            findOnce_({"noise",
                       {},
                       format("noise is %.0f %% of the contrast; a TV weight near %.0f would smooth it",
                              100.0 * share, static_cast<double>(advised)),
                       ""});
        }
        return given;
    }
    if (advised < given) {
        findOnce_({"noise",
                   {},
                   format("noise is %.0f %% of the contrast", 100.0 * share),
                   format("TV weight %.0f in place of %g (--tv-weight)", static_cast<double>(advised),
                          static_cast<double>(given))});
    }
    const float now = enhancer_.parameters().tvWeight;
    return now < kSameWeight * advised && advised < kSameWeight * now ? now : advised;
}

}  // namespace oravo::tools
