#ifndef ORAVO_TOOLS_ENHANCE_LIVEENHANCER_H
#define ORAVO_TOOLS_ENHANCE_LIVEENHANCER_H

#include <memory>
#include <optional>
#include <string>

#include "tools/enhance/Reconstructor.h"
#include "tools/enhance/Recording.h"

namespace oravo::tools {

/// A stream of frames into as many pictures, each as soon as its frame is there, so that a stream keeps its pace. Where
/// no such image can be made, the frame alone is interpolated. Memory does not grow with the
/// stream.
class LiveEnhancer {
  public:
    enum class Origin {
        enlarged,     ///< the image that a recording would have for this frame
        repeated,     ///< the frame repeats the one before, and so does the picture
        interpolated  ///< bicubic, of this frame alone
    };
    struct Picture {
        cv::Mat_<float> image;  ///< NaN where there is no value
        Origin origin = Origin::interpolated;
        std::optional<Enlarged> enlarged;  ///< of an enlarged one
    };

    /// Throws UserError for parameters that the library refuses.
    /// @param findings  gets what is found wrong, of what recurs from frame to frame the first; has to outlive this object
    LiveEnhancer(cv::Size frameSize, const EnhanceParameters& parameters, Findings& findings);

    /// @param name  of the frame, for messages
    Picture next(const ValueFrame& frame, const std::string& name);

    /// What was skipped; see Recording.
    std::string skipped() const { return recording_.skipped(); }

  private:
    Picture pictureOf(const ValueFrame& frame);

    Findings& findings_;
    cv::Size enlargedSize_;
    Recording recording_;
    std::unique_ptr<Reconstructor> reconstructor_;
    cv::Mat_<float> shown_;  // the latest picture
    std::size_t count_ = 0;  // of frames
};

}  // namespace oravo::tools

#endif
