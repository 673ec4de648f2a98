#ifndef ORAVO_TOOLS_ENHANCER_H
#define ORAVO_TOOLS_ENHANCER_H

#include <cstddef>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tools/Pipelines.h"
#include "tools/StageTimes.h"

namespace oravo::tools {

struct EnhanceParameters : PipelineParameters {};

/// An enlarged image and what the library told about it.
struct Enlarged {
    cv::Mat_<float> image;
    float gain = 0.0f;                   ///< estimated resolution gain; 0 where a warning took its place
    std::string warning;                 ///< empty where all went well
    std::vector<cv::Point2f> shifts;     ///< of the window's frames against the reference, oldest first
    std::vector<std::size_t> frames;     ///< their numbers in the recording
    std::size_t reference = 0;           ///< number of the frame whose grid the image lies on
    std::vector<cv::Mat_<uchar>> masks;  ///< on that grid: 1 where a frame agrees with the reference
    std::vector<StageTime> stages;       ///< what took how long
    double seconds = 0.0;                ///< that all of it took
};

/// Why a window of frames gave no image, in words for its user.
struct Refusal {
    std::string reason;
};

/// The library's pipeline with a window of five frames and twofold enlargement, its status values and
/// exceptions put into words.
class Enhancer {
  public:
    static constexpr int kWindowSize = Pipeline::kWindowSize;
    static constexpr int kFactor = Pipeline::kFactor;

    /// Throws UserError for parameters that the library refuses.
    Enhancer(cv::Size frameSize, const EnhanceParameters& parameters);

    /// With what was left to the pipeline filled in.
    const EnhanceParameters& parameters() const { return parameters_; }

    /// Takes in the next frame. Returns what is to be told about it, nothing where all is well.
    std::optional<std::string> addFrame(const cv::Mat_<float>& frame);

    /// Whether the window is full.
    bool ready() const { return added_ >= static_cast<std::size_t>(kWindowSize); }

    /// Enlarges the window that ends with the newest frame. On refusal the recording may go on.
    std::optional<Enlarged> run(Refusal& refusal);

    /// The frame, counted from 0 over all frames added, whose grid the next image lies on.
    std::size_t referenceFrame() const;

  private:
    std::size_t windowStart() const { return added_ - static_cast<std::size_t>(kWindowSize); }
    /// The first frame of the window that moved by so much in x or y, in words. (Where the library refuses a
    /// frame, the shifts up to this one are those of the refused run.)
    std::optional<std::string> displacementFrom(int pixels) const;

    cv::Size size_;
    EnhanceParameters parameters_;
    std::unique_ptr<Pipeline> pipeline_;
    std::size_t added_ = 0;
    std::set<std::size_t> refused_;  ///< frames with too many defects; they hold a place in the window
};

}  // namespace oravo::tools

#endif
