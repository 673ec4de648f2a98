#ifndef ORAVO_TOOLS_ENHANCE_PRECISERUNNER_H
#define ORAVO_TOOLS_ENHANCE_PRECISERUNNER_H

#include "tools/enhance/FrameNumbers.h"
#include "tools/enhance/Reconstructor.h"

namespace oravo::tools {

/// The engine for frames of a size. Throws UserError for what it refuses.
/// @param progress  gets the share of a run that is done; may be empty
vision::SrPrecise preciseEngine(cv::Size size, const EnhanceParameters& parameters,
                                std::function<void(double)> progress);

/// Enlarges windows of frames by the precise pipeline, which chooses and weighs them itself, and says what there is to
/// doubt about each image.
class PreciseRunner final : public Reconstructor {
  public:
    PreciseRunner(cv::Size frameSize, const EnhanceParameters& parameters, Findings& findings,
                  std::function<void(double)> progress);

    std::optional<Enlarged> run(const Frames& pool, Refusal& refusal) override;

  private:
    void sayDoubts(const Enlarged& enlarged);

    EnhanceParameters parameters_;
    Findings& findings_;
    vision::SrPrecise engine_;
    FrameNumbers leftOut_;         // frames that were found to be
    std::vector<cv::Point> dead_;  // pixels that images have shown to be, and none has cleared since
};

}  // namespace oravo::tools

#endif
