#ifndef ORAVO_TOOLS_ENHANCE_ENHANCER_H
#define ORAVO_TOOLS_ENHANCE_ENHANCER_H

#include <cstddef>
#include <deque>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/enhance/Pipelines.h"
#include "tools/enhance/StageTimes.h"

namespace oravo::tools {

struct EnhanceParameters : PipelineParameters {
    bool guarded = true;       ///< acts on what is found wrong with the frames
    bool chooseWeight = true;  ///< when guarded, the TV weight may be lowered for noisy frames
};

/// Pixels of an enlarged image that no frame had a value for.
struct WithoutValue {
    int overRange = 0;   ///< too hot for the camera, or for the plausible range
    int underRange = 0;  ///< too cold
    int bad = 0;         ///< defective, or no number

    int total() const { return overRange + underRange + bad; }
};

/// An enlarged image and what the library told about it.
struct Enlarged {
    cv::Mat_<float> image;                ///< NaN where there is no value
    WithoutValue withoutValue;            ///< how often
    float gain = 0.0f;                    ///< estimated resolution gain; 0 where a warning took its place
    std::string warning;                  ///< empty where all went well
    std::vector<cv::Point2f> shifts;      ///< of the window's frames against the reference, oldest first
    std::vector<std::size_t> frames;      ///< their numbers in the recording
    std::size_t reference = 0;            ///< number of the frame whose grid the image lies on
    std::vector<cv::Mat_<float>> inputs;  ///< the frames as they were given
    std::vector<cv::Mat_<uchar>> masks;   ///< on the reference's grid: 1 where a frame agrees with it
    EnhanceParameters parameters;         ///< that it was computed with
    std::vector<StageTime> stages;        ///< what took how long
    double seconds = 0.0;                 ///< that all of it took
};

/// Why a window of frames gave no image, in words for its user.
struct Refusal {
    std::string reason;
    std::optional<std::size_t> position;  ///< of the frame in the window, where one is to blame
};

/// The library's pipeline with a window of five frames and twofold enlargement, its status values and
/// exceptions put into words.
class Enhancer {
  public:
    static constexpr int kWindowSize = Pipeline::kWindowSize;
    static constexpr int kFactor = Pipeline::kFactor;

    /// Throws UserError for frames of a size that cannot be aligned and for parameters that the library refuses.
    Enhancer(cv::Size frameSize, const EnhanceParameters& parameters);

    /// With the reference and the weight settled for good.
    const EnhanceParameters& parameters() const { return parameters_; }

    /// Starts with an empty window. The reference, counted back from the newest frame, has to be one that the
    /// pipeline can take.
    void restart(int referenceIndex, float tvWeight);

    struct Intake {
        std::string told;  ///< empty where all is well
        bool refused =
            false;  ///< the frame has too many defects; it holds a place in the window all the same
    };
    /// Takes in the next frame; its number is what it is called in messages.
    Intake addFrame(std::size_t number, const cv::Mat_<float>& frame);

    /// Numbers of the frames in the window, oldest first.
    const std::deque<std::size_t>& window() const { return window_; }

    /// Enlarges the window. On refusal the recording may go on.
    std::optional<Enlarged> run(Refusal& refusal);

  private:
    /// The first frame of the window that moved by so much in x or y. (Where the library refuses a frame, the
    /// shifts up to this one are those of the refused run.)
    std::optional<std::size_t> displacedFrom(int pixels) const;
    std::string displacement(std::optional<std::size_t> position) const;

    cv::Size size_;
    EnhanceParameters parameters_;
    std::unique_ptr<Pipeline> pipeline_;
    std::deque<std::size_t> window_;
    std::deque<cv::Mat_<float>> inputs_;  // of the window's frames, like the next
    std::deque<bool> refused_;
};

}  // namespace oravo::tools

#endif
