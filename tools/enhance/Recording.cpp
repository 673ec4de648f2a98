#include "tools/enhance/Recording.h"

#include <algorithm>

#include "tools/base/Messages.h"
#include "tools/measure/Metrics.h"

namespace oravo::tools {
namespace {

Frames newestOf(const Frames& frames, std::size_t count) {
    return {frames.end() - static_cast<std::ptrdiff_t>(std::min(frames.size(), count)), frames.end()};
}

}  // namespace

bool Recording::add(const ValueFrame& added, const std::string& name) {
    RecordedFrame frame{count_++, name, added.values, {}, added.outside > 0, 0};
    if (rules_.guarded) {
        const cv::Mat_<float> sound = repaired(added.plausible);
        const StreamGuard::Finding finding = guard_.look(sound);
        const std::string what = format("frame %zu (%s) ", frame.number, frame.name.c_str()) + finding.reason;
        if (finding.verdict == StreamGuard::Verdict::repeated) {
            ++repeated_;
            if (repeated_ == 1)
                findings_.warn(Guard{"repeated", frame.number, what, "such frames are skipped"});
            return false;
        }
        if (finding.verdict == StreamGuard::Verdict::restart) {
            ++stretches_;
            findings_.warn(Guard{"jump", frame.number, what, "a new window begins (shutter calibration?)"});
        }
        if (finding.verdict == StreamGuard::Verdict::resume) {
            findings_.warn(Guard{"jump", frame.number, what, "the frames in between are left out"});
        }
        frame.stretch = guard_.stretch();
        // A recording may begin with a closed shutter, so the first frame of every stretch is asked.
        if (framesOf(frame.stretch).empty() && !enlargedBefore_) warnWhenEnlargedBefore(sound);
        if (rules_.wantsDetail) frame.detail = FrameDetail(sound);
    }
    frames_.push_back(std::move(frame));
    forgetOldFrames();
    return true;
}

void Recording::warnWhenEnlargedBefore(const cv::Mat_<float>& sound) {
    const std::string reason = enlargedBefore(sound);
    if (reason.empty()) return;
    findings_.warn(Guard{"enlarged before", {}, "the frames " + reason, ""});
    enlargedBefore_ = true;
}

Frames Recording::framesOf(std::size_t stretch) const {
    Frames found;
    for (const RecordedFrame& frame : frames_) {
        if (frame.stretch == stretch) found.push_back(&frame);
    }
    return found;
}

/// The newest stretch that is long enough for an image; empty where none is.
Frames Recording::latestStretch() const {
    Frames found = framesOf(guard_.stretch());
    for (auto frame = frames_.rbegin(); found.size() < kEnough && frame != frames_.rend(); ++frame) {
        found = framesOf(frame->stretch);
    }
    return found.size() < kEnough ? Frames{} : found;
}

/// Kept are the newest frames, and the newest ones of each stretch that may still become an image.
void Recording::forgetOldFrames() {
    const std::size_t most = rules_.window + (rules_.guarded ? rules_.spare : 0);
    std::vector<std::size_t> kept;
    const auto keep = [&](const Frames& frames, std::size_t count) {
        for (const RecordedFrame* frame : newestOf(frames, count)) kept.push_back(frame->number);
    };
    Frames all;
    for (const RecordedFrame& frame : frames_) all.push_back(&frame);
    keep(all, std::max(rules_.window, kEnough));
    keep(framesOf(guard_.stretch()), most);
    if (guard_.interrupted()) keep(framesOf(*guard_.interrupted()), most);
    keep(latestStretch(), most);
    const auto forgotten = [&](const RecordedFrame& frame) {
        return std::find(kept.begin(), kept.end(), frame.number) == kept.end();
    };
    frames_.erase(std::remove_if(frames_.begin(), frames_.end(), forgotten), frames_.end());
}

bool Recording::ready() const {
    if (rules_.every) return framesOf(guard_.stretch()).size() >= kEnough;
    return frames_.size() >= rules_.least;
}

Frames Recording::latest() const {
    const std::size_t most = rules_.window + (rules_.guarded ? rules_.spare : 0);
    const Frames stretch = latestStretch();
    if (!stretch.empty()) return newestOf(stretch, most);
    if (stretches_ > 0) {
        findings_.warn(Guard{
            "jump", {}, "no five frames in a row belong together", "the last ones are taken all the same"});
    }
    Frames all;
    for (const RecordedFrame& frame : frames_) all.push_back(&frame);
    return newestOf(all, rules_.window);
}

std::string Recording::skipped() const {
    std::string text;
    if (repeated_ != 0)
        text += format(", %zu repeated frame%s skipped", repeated_, repeated_ == 1 ? "" : "s");
    if (stretches_ != 0) text += format(", %zu new window%s begun", stretches_, stretches_ == 1 ? "" : "s");
    return text;
}

}  // namespace oravo::tools
