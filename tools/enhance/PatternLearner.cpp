#include "tools/enhance/PatternLearner.h"

#include <cmath>

#include "tools/enhance/PreciseRunner.h"

namespace oravo::tools {

PatternLearner::PatternLearner(cv::Size frameSize, const EnhanceParameters& parameters)
    : engine_(preciseEngine(frameSize, parameters, {})),
      pattern_(frameSize, 0.0f),
      mean_(frameSize, 0.0),
      squares_(frameSize, 0.0) {
}

void PatternLearner::learn(const std::vector<cv::Mat_<float>>& frames) {
    std::vector<cv::Mat_<float>> corrected;
    for (const cv::Mat_<float>& frame : frames) {
        corrected.emplace_back();
        cv::subtract(frame, pattern_, corrected.back());
    }
    const vision::SrPreciseResult result = engine_.compute(corrected, static_cast<int>(frames.size()) / 2);
    if (result.pattern.empty()) {
        ++(result.sceneMoves ? pass_.without : pass_.still);
        return;
    }
    const std::ptrdiff_t used = result.usedFrames();
    const double weight = static_cast<double>(used);
    weight_ += weight;
    pass_.frames += static_cast<std::size_t>(used);
    ++pass_.found;
    // D. H. D. West, "Updating mean and variance estimates", Communications of the ACM 22(9), 1979.
    for (int y = 0; y < mean_.rows; ++y) {
        for (int x = 0; x < mean_.cols; ++x) {
            const double difference = result.pattern(y, x) - mean_(y, x);
            mean_(y, x) += difference * weight / weight_;
            squares_(y, x) += weight * difference * (result.pattern(y, x) - mean_(y, x));
        }
    }
}

PatternLearner::Pass PatternLearner::endPass() {
    Pass pass = pass_;
    if (pass.found > 1) pass.error = std::sqrt(cv::mean(squares_)[0] / weight_ / (pass.found - 1));
    if (pass.showsPattern()) {
        for (int y = 0; y < mean_.rows; ++y) {
            for (int x = 0; x < mean_.cols; ++x) pattern_(y, x) += static_cast<float>(mean_(y, x));
        }
    }
    pass_ = Pass();
    weight_ = 0.0;
    mean_ = 0.0;
    squares_ = 0.0;
    return pass;
}

}  // namespace oravo::tools
