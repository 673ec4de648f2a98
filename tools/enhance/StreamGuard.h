#ifndef ORAVO_TOOLS_ENHANCE_STREAMGUARD_H
#define ORAVO_TOOLS_ENHANCE_STREAMGUARD_H

#include <cstddef>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "vision/superresolution/detail/choice/Doubts.h"

namespace oravo::tools {

/// Looks at each frame of a recording as it arrives, before any alignment, for what a camera does to a stream:
/// frames that are sent twice, and shutter calibrations, after which level or contrast jump. Divides the recording into
/// stretches of frames that belong together.
class StreamGuard {
  public:
    /// Fewer frames than these between two jumps are an interruption.
    static constexpr int kInterruption = 5;

    enum class Verdict {
        use,
        repeated,  ///< the values of the frame before it: nothing new
        restart,   ///< begins a new stretch
        resume     ///< belongs to the stretch before the latest restart; what came since interrupted it
    };
    struct Finding {
        Verdict verdict = Verdict::use;
        std::string reason;  ///< in words that follow "frame 7 "; empty for use
    };

    /// @param levelsCount  whether a step of the level alone is a jump
    explicit StreamGuard(bool levelsCount = true) : levelsCount_(levelsCount) {}

    /// @param frame  without status codes
    Finding look(const cv::Mat_<float>& frame);

    /// The stretch that the latest frame belongs to, counted from 0.
    std::size_t stretch() const { return current_.number; }
    /// The stretch that may be resumed.
    std::optional<std::size_t> interrupted() const;

  private:
    struct Seen {
        cv::Mat_<float> frame;
        double contrast = 0.0;
        double noise = 0.0;
    };
    struct Stretch {
        std::size_t number = 0;
        int length = 0;
        Seen last;
    };
    std::string jumpBetween(const Seen& before, const Seen& after) const;

    bool levelsCount_;
    Stretch current_;
    std::optional<Stretch> interrupted_;  // by the latest jump, or the first of several in short order
    std::size_t begun_ = 1;
};

/// Why enlarging such a frame brings little, in words that follow "the frames "; empty where nothing speaks
/// against it.
std::string enlargedBefore(const cv::Mat_<float>& frame);

using vision::detail::samePhase;

/// The TV weight for frames whose noise is this share of their contrast: the given one as long as noise is
/// low, else one at which noise is smoothed and detail is not.
float weightForNoise(double share, float weight);

}  // namespace oravo::tools

#endif
