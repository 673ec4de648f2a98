#ifndef ORAVO_TOOLS_ENHANCE_ENHANCER_H
#define ORAVO_TOOLS_ENHANCE_ENHANCER_H

#include <deque>
#include <memory>

#include "tools/enhance/Enlarged.h"

namespace oravo::tools {

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
        std::string problem;   ///< empty where all is well
        bool refused = false;  ///< too many defects; the frame holds its place in the window all the same
    };
    /// Takes in the next frame; its number is what it is called in messages.
    Intake addFrame(std::size_t number, const cv::Mat_<float>& frame);

    /// Numbers of the frames in the window, oldest first.
    std::vector<std::size_t> window() const;

    /// Enlarges the window. On refusal the recording may go on.
    std::optional<Enlarged> run(Refusal& refusal);

  private:
    struct Taken {
        std::size_t number;
        cv::Mat_<float> values;
        bool refused;
    };

    bool holdsRefusedFrame(Refusal& refusal) const;
    /// Computes the image. False where the window gives none.
    bool enlarge(Enlarged& result, Refusal& refusal);
    void describeWindow(Enlarged& result) const;
    /// What the status that the library returned as a gain warns of; empty for a gain.
    std::string warningOf(float gain) const;

    /// The first frame of the window that moved by so much in x or y. (Where the library refuses a frame, the
    /// shifts up to this one are those of the refused run.)
    std::optional<std::size_t> displacedFrom(int pixels) const;
    std::string displacement(std::optional<std::size_t> position) const;

    cv::Size size_;
    EnhanceParameters parameters_;
    std::unique_ptr<Pipeline> pipeline_;
    std::deque<Taken> window_;
};

}  // namespace oravo::tools

#endif
