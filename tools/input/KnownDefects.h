#ifndef ORAVO_TOOLS_INPUT_KNOWNDEFECTS_H
#define ORAVO_TOOLS_INPUT_KNOWNDEFECTS_H

#include <opencv2/core.hpp>
#include <vector>

namespace oravo::tools {

/// What becomes of the listed pixels of a sensor.
struct DefectMask {
    cv::Mat_<unsigned char> listed;  ///< other than 0 at defects, of the frames' size; empty for none
    /// The pipeline repairs a defect by its four neighbours, and only where these are sound: others get values of sound pixels
    /// near them beforehand.
    bool repairsSingleOnes = false;
};

/// Takes listed pixels out of frames, with NaN, which all that know defects take for one.
class KnownDefects {
  public:
    explicit KnownDefects(const DefectMask& mask);

    /// @param frame  of the mask's size
    /// @param whole  fills in integers
    void takeOut(cv::Mat_<float>& frame, bool whole) const;

  private:
    /// A pixel, and the sound ones nearest to it.
    struct Filled {
        cv::Point at;
        std::vector<cv::Point> from;
    };

    cv::Mat_<unsigned char> listed_;
    std::vector<Filled> filled_;
};

}  // namespace oravo::tools

#endif
