#ifndef ORAVO_TOOLS_ENHANCE_WINDOWRUNNER_H
#define ORAVO_TOOLS_ENHANCE_WINDOWRUNNER_H

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/enhance/Enhancer.h"
#include "tools/enhance/FrameNumbers.h"
#include "tools/enhance/Reconstructor.h"
#include "tools/enhance/Suspects.h"

namespace oravo::tools {

/// Reports each guard once for each frame that it is about.
class FindOnce {
  public:
    explicit FindOnce(Findings& findings) : findings_(findings) {}
    void operator()(const Guard& guard);

  private:
    Findings& findings_;
    std::set<std::string> found_;                  // that are about no frame
    std::map<std::string, FrameNumbers> foundIn_;  // frames
};

/// Enlarges windows of frames. When guarded, it looks at what came of a window, leaves frames out that spoil
/// the image, takes older ones in their place where there are any, and lowers the TV weight for noisy frames.
/// What it finds and does goes to its findings.
class WindowRunner final : public Reconstructor {
  public:
    /// @param every  an image is wanted for each frame, not just one for the recording
    WindowRunner(cv::Size frameSize, const EnhanceParameters& parameters, bool every, Findings& findings);

    /// Enlarges the newest frames of a pool in which frames that belong together stand in order.
    std::optional<Enlarged> run(const Frames& pool, Refusal& refusal) override;

  private:
    /// How far the search for a window without suspects has come.
    struct Search {
        Frames pool;                               ///< frames that can still take part, in order
        const RecordedFrame* newest;               ///< of the pool as given
        const RecordedFrame* reference = nullptr;  ///< of the last window
        std::optional<Enlarged> first = {};        ///< image, in spite of its suspects
        std::string leftOut = {};                  ///< the suspects of all windows, in words
    };

    std::optional<Enlarged> runGuarded(const Frames& pool, Refusal& refusal);
    std::optional<FrameWindow> chooseWindow(Search& search) const;
    const Suspect* needed(const std::vector<Suspect>& suspects, const RecordedFrame* newest) const;
    static void exclude(const std::vector<Suspect>& suspects, Search& search);
    std::optional<Enlarged> firstImage(Search& search, Refusal& refusal);
    /// Both are false where a frame was refused that was not known to be unusable.
    bool load(const Frames& window, std::size_t reference);
    bool takeIn(const RecordedFrame& frame);
    float weightFor(const Frames& window);
    void lookForPattern(const Enlarged& enlarged);

    bool every_;
    Enhancer enhancer_;
    EnhanceParameters parameters_;
    FrameNumbers unusable_;  // frames with too many defects
    Findings& findings_;
    FindOnce findOnce_;
    bool patternSaid_ = false;
    std::size_t nextLook_ = 0;  // newest frame of the image that is looked at next
    std::size_t lookPause_ =
        static_cast<std::size_t>(Enhancer::kWindowSize);  // frames until the one after it
};

}  // namespace oravo::tools

#endif
