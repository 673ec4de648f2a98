#ifndef ORAVO_TOOLS_ENHANCE_FRAMEWINDOW_H
#define ORAVO_TOOLS_ENHANCE_FRAMEWINDOW_H

#include <deque>

#include "tools/enhance/StreamGuard.h"
#include "tools/enhance/WindowRunner.h"

namespace oravo::tools {

/// A recording's frames on their way to the enhancer. When guarded, repeated frames are skipped, and windows
/// do not reach across jumps of level or contrast; see WindowRunner for the rest.
class FrameWindow {
  public:
    /// @param every  an image is wanted for each frame, not just one for the recording
    FrameWindow(cv::Size frameSize, const EnhanceParameters& parameters, bool every);

    /// Takes in the next frame. False where it was skipped.
    /// @param plausible  its values without those that are defects to the library, for the guards to judge
    /// @param name   of its file, for messages
    /// @param quiet  that it has defects is said elsewhere
    bool add(const cv::Mat_<float>& values, const cv::Mat_<float>& plausible, const std::string& name,
             bool quiet);

    /// Whether there are frames enough for an image.
    bool ready() const;

    /// Enlarges the newest frames that belong together. Without five such frames, one image for the recording is made
    /// of its last five.
    std::optional<Enlarged> run(Refusal& refusal);

    /// What was skipped, in words that follow the summary of a recording; empty where nothing was.
    std::string skipped() const;

  private:
    /// @param sound  the frame without status codes
    bool belongs(const RecordedFrame& frame, const cv::Mat_<float>& sound);

    void warnWhenEnlargedBefore(const cv::Mat_<float>& sound);

    const std::deque<RecordedFrame>& latest() const;

    bool guarded_;
    bool every_;
    WindowRunner runner_;
    StreamGuard guard_;
    std::deque<RecordedFrame> frames_;   // that belong together, oldest first
    std::deque<RecordedFrame> earlier_;  // the latest before them that were enough for an image
    std::deque<RecordedFrame>
        interrupted_;  // those before the latest jump, or the first of several in short order
    std::deque<RecordedFrame> recent_;  // the last five taken in, whether or not they belong together
    bool enlargedBefore_ = false;       // it was said
    std::size_t count_ = 0;
    std::size_t repeated_ = 0;
    std::size_t restarts_ = 0;
};

}  // namespace oravo::tools

#endif
