#ifndef ORAVO_TOOLS_ENHANCE_STREAMGUARD_H
#define ORAVO_TOOLS_ENHANCE_STREAMGUARD_H

#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// Looks at each frame of a recording as it arrives, before any alignment, for what a camera does to a stream:
/// frames that are sent twice, and shutter calibrations, after which level or contrast jump.
class StreamGuard {
  public:
    /// A window's worth of frames: fewer than these between two jumps are an interruption.
    static constexpr int kInterruption = 5;

    enum class Verdict {
        use,
        repeated,  ///< the values of the frame before it: nothing new
        restart,   ///< does not belong together with the frames before it
        resume  ///< belongs together with those before the latest restart; what came since interrupted them
    };
    struct Finding {
        Verdict verdict = Verdict::use;
        std::string reason;  ///< in words that follow "frame 7 "; empty for use
    };

    /// @param frame  without status codes
    Finding look(const cv::Mat_<float>& frame);

  private:
    struct Seen {
        cv::Mat_<float> frame;
        double contrast = 0.0;
    };
    static std::string jumpBetween(const Seen& before, const Seen& after);

    Seen last_;
    // The last frame before the latest restart, or before the first of several in short order; empty when frames have
    // resumed.
    Seen interrupted_;
    int sinceRestart_ = 0;
};

/// Why enlarging such a frame brings little, in words that follow "the frames "; empty where nothing speaks
/// against it.
std::string enlargedBefore(const cv::Mat_<float>& frame);

/// Whether the frames lie so near to whole pixels from each other, in x and y, that they sample the same
/// places of the scene.
bool samePhase(const std::vector<cv::Point2f>& shifts);

/// The TV weight for frames whose noise is this share of their contrast: the given one as long as noise is
/// low, else one at which noise is smoothed and detail is not.
float weightForNoise(double share, float weight);

}  // namespace oravo::tools

#endif
