#include "tools/enhance/FrameWindow.h"

#include "tools/base/Messages.h"
#include "tools/measure/Metrics.h"

namespace oravo::tools {
namespace {

constexpr std::size_t kFull = static_cast<std::size_t>(Enhancer::kWindowSize);
constexpr std::size_t kSpare = kFull;  // older frames kept to take the place of bad ones

}  // namespace

FrameWindow::FrameWindow(cv::Size frameSize, const EnhanceParameters& parameters, bool every)
    : guarded_(parameters.guarded), every_(every), runner_(frameSize, parameters, every) {
}

bool FrameWindow::add(const cv::Mat_<float>& values, const cv::Mat_<float>& plausible,
                      const std::string& name, bool quiet) {
    RecordedFrame frame{count_++, name, values, {}, quiet};
    if (guarded_) {
        const cv::Mat_<float> sound = repaired(plausible);
        if (!belongs(frame, sound)) return false;
        frame.detail = FrameDetail(sound);
    }
    recent_.push_back(frame);
    if (recent_.size() > kFull) recent_.pop_front();
    frames_.push_back(std::move(frame));
    if (frames_.size() > kFull + (guarded_ ? kSpare : 0)) frames_.pop_front();
    return true;
}

bool FrameWindow::belongs(const RecordedFrame& frame, const cv::Mat_<float>& sound) {
    const StreamGuard::Finding finding = guard_.look(sound);
    const std::string what = format("frame %zu (%s) ", frame.number, frame.name.c_str()) + finding.reason;
    if (finding.verdict == StreamGuard::Verdict::repeated) {
        ++repeated_;
        if (repeated_ == 1) warn(Guard{"repeated", frame.number, what, "such frames are skipped"});
        return false;
    }
    if (finding.verdict == StreamGuard::Verdict::restart) {
        ++restarts_;
        warn(Guard{"jump", frame.number, what, "a new window begins (shutter calibration?)"});
        if (frames_.size() >= kFull) earlier_ = frames_;
        if (interrupted_.empty() || frames_.size() >= kFull) interrupted_ = std::move(frames_);
        frames_.clear();
    }
    if (finding.verdict == StreamGuard::Verdict::resume) {
        warn(Guard{"jump", frame.number, what, "the frames in between are left out"});
        frames_ = std::move(interrupted_);
        interrupted_.clear();
    }
    // A recording may begin with a closed shutter, so the first frame of every window is asked.
    if (frames_.empty() && !enlargedBefore_) warnWhenEnlargedBefore(sound);
    return true;
}

void FrameWindow::warnWhenEnlargedBefore(const cv::Mat_<float>& sound) {
    const std::string reason = enlargedBefore(sound);
    if (reason.empty()) return;
    warn(Guard{"enlarged before", {}, "the frames " + reason, ""});
    enlargedBefore_ = true;
}

bool FrameWindow::ready() const {
    return (every_ ? frames_ : recent_).size() >= kFull;
}

const std::deque<RecordedFrame>& FrameWindow::latest() const {
    if (frames_.size() >= kFull) return frames_;
    if (earlier_.size() >= kFull) return earlier_;
    warn(
        Guard{"jump", {}, "no five frames in a row belong together", "the last five are taken all the same"});
    return recent_;
}

std::optional<Enlarged> FrameWindow::run(Refusal& refusal) {
    WindowRunner::Frames pool;
    for (const RecordedFrame& frame : latest()) pool.push_back(&frame);
    return runner_.run(std::move(pool), refusal);
}

std::string FrameWindow::skipped() const {
    std::string text;
    if (repeated_ != 0)
        text += format(", %zu repeated frame%s skipped", repeated_, repeated_ == 1 ? "" : "s");
    if (restarts_ != 0) text += format(", %zu new window%s begun", restarts_, restarts_ == 1 ? "" : "s");
    return text;
}

}  // namespace oravo::tools
