#ifndef ORAVO_TOOLS_ENHANCE_RECORDING_H
#define ORAVO_TOOLS_ENHANCE_RECORDING_H

#include <deque>
#include <string>
#include <vector>

#include "tools/base/Guard.h"
#include "tools/enhance/StreamGuard.h"
#include "tools/measure/FrameMeasures.h"
#include "tools/values/PlausibleRange.h"

namespace oravo::tools {

struct RecordedFrame {
    std::size_t number;
    std::string name;        ///< of its file
    cv::Mat_<float> values;  ///< as read
    FrameDetail detail;      ///< empty where nothing is guarded
    bool quiet;              ///< it holds implausible values, which are reported once for all frames
    std::size_t stretch;     ///< frames of one stretch belong together
};

/// Frames of a recording that belong together, oldest first.
using Frames = std::vector<const RecordedFrame*>;

/// How a recording is divided into images.
struct RecordingRules {
    bool guarded = true;      ///< skips repeated frames and looks for jumps
    bool levelsCount = true;  ///< a step of the level ends a stretch, as a step of the contrast does
    bool every = false;       ///< an image is wanted for each frame, not just one for the recording
    std::size_t least = StreamGuard::kInterruption;   ///< frames that an image takes
    std::size_t window = StreamGuard::kInterruption;  ///< frames that an image takes at most
    std::size_t spare = 0;                            ///< older frames kept to take the place of bad ones
    bool wantsDetail = true;                          ///< frames are compared by their detail
};

/// The latest frames of a recording, divided into stretches of frames that belong together; see StreamGuard. What is
/// skipped, and where a stretch ends, is a finding.
class Recording {
  public:
    static constexpr std::size_t kEnough = StreamGuard::kInterruption;  ///< frames that make a stretch

    /// @param findings  has to outlive this object
    Recording(const RecordingRules& rules, Findings& findings)
        : rules_(rules), findings_(findings), guard_(rules.levelsCount) {}

    /// Takes in the next frame. False where it was skipped.
    /// @param name   of its file, for messages
    bool add(const ValueFrame& frame, const std::string& name);

    /// Whether there are frames enough for an image.
    bool ready() const;

    /// The newest frames that belong together. Without five such frames, one image for the recording is made of its
    /// last ones, whether or not they do. Valid until the next frame comes.
    Frames latest() const;

    /// What was skipped, in words that follow the summary of a recording; empty where nothing was.
    std::string skipped() const;

  private:
    void warnWhenEnlargedBefore(const cv::Mat_<float>& sound);
    Frames framesOf(std::size_t stretch) const;
    Frames latestStretch() const;
    void forgetOldFrames();

    RecordingRules rules_;
    Findings& findings_;
    StreamGuard guard_;
    std::deque<RecordedFrame> frames_;
    bool enlargedBefore_ = false;  // it was reported
    std::size_t count_ = 0;
    std::size_t repeated_ = 0;
    std::size_t stretches_ = 0;  // begun after a jump
};

}  // namespace oravo::tools

#endif
