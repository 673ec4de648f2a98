#ifndef ORAVO_TOOLS_STREAMGUARD_H
#define ORAVO_TOOLS_STREAMGUARD_H

#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// Looks at each frame of a recording as it arrives, before any alignment, for what a camera does to a stream:
/// frames that are sent twice, and shutter calibrations, after which level or contrast jump.
class StreamGuard {
  public:
    enum class Verdict {
        use,
        repeated,  ///< the values of the frame before it: nothing new
        restart    ///< does not belong together with the frames before it
    };
    struct Finding {
        Verdict verdict = Verdict::use;
        std::string reason;  ///< in words that follow "frame 7 "; empty for use
    };

    /// @param frame  without status codes
    Finding look(const cv::Mat_<float>& frame);

  private:
    cv::Mat_<float> last_;
    double contrast_ = 0.0;  // of last_
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
