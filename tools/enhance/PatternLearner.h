#ifndef ORAVO_TOOLS_ENHANCE_PATTERNLEARNER_H
#define ORAVO_TOOLS_ENHANCE_PATTERNLEARNER_H

#include <opencv2/core.hpp>
#include <vector>

#include "tools/enhance/Enlarged.h"

namespace oravo::tools {

/// The fixed pattern of a sensor out of any number of stretches of frames: the mean of what the precise pipeline finds in
/// each, weighted by the number of its frames. What a stretch mistakes for the pattern differs from scene to scene, so it
/// falls with their number. What the image of each stretch has absorbed of the pattern does not: further passes over the
/// same frames, less the pattern so far, find it. Memory is that of one stretch.
class PatternLearner {
  public:
    /// Throws UserError for frames of a size, and for a blur, that the pipeline refuses.
    PatternLearner(cv::Size frameSize, const EnhanceParameters& parameters);

    /// Frames of one scene that moves over the sensor, in the unit of the values.
    void learn(const std::vector<cv::Mat_<float>>& frames);

    /// What the stretches of one pass have shown.
    struct Pass {
        std::size_t frames = 0;  ///< of the stretches that show a pattern
        int found = 0;           ///< stretches that show one
        int without = 0;         ///< stretches whose scene moved, and that show none
        int still = 0;           ///< stretches whose scene did not move, which show nothing
        double error = 0.0;  ///< standard error of a pixel, from how stretches differ; 0 for fewer than two

        /// Whether most stretches whose scene moved show a pattern.
        bool showsPattern() const { return found > without; }
    };
    /// Adds the mean of what was found to the pattern, if the pass shows one, and begins the next pass.
    Pass endPass();

    /// Rows x columns of a frame.
    const cv::Mat_<float>& pattern() const { return pattern_; }

  private:
    vision::SrPrecise engine_;
    cv::Mat_<float> pattern_;
    cv::Mat_<double> mean_;     // of what was found in this pass
    cv::Mat_<double> squares_;  // weighted sum of squared deviations from the mean
    double weight_ = 0.0;
    Pass pass_;
};

}  // namespace oravo::tools

#endif
