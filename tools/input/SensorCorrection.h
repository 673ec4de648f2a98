#ifndef ORAVO_TOOLS_INPUT_SENSORCORRECTION_H
#define ORAVO_TOOLS_INPUT_SENSORCORRECTION_H

#include <opencv2/core.hpp>
#include <string>

#include "tools/input/FrameReader.h"
#include "tools/values/Decode.h"

namespace oravo::tools {

/// Files by which a sensor's fixed pattern is taken off; empty names for none.
struct SensorFiles {
    std::string shutter;  ///< frames of an even surface, as stored; their mean is taken
    std::string pattern;  ///< one image, in the unit of the values

    std::vector<std::string> names() const { return {shutter, pattern}; }
};

/// Corrections of a sensor by one point, pixel by pixel (A. Rogalski, "Infrared Detectors", CRC 2010, ch. 23):
///
///     value = frame - shutter + mean of the shutter,        value = value - pattern
///
/// Pixels without a value in the shutter's frames or in the pattern have none afterwards: NaN, which counts as a defect.
class SensorCorrection {
  public:
    /// @param reading     of the frames: the shutter's are read and cropped as they are
    /// @param storedSize  of the frames before the crop; a pattern may also have the size of the crop
    /// Throws UserError, naming the file, for what cannot be read or has another size.
    SensorCorrection(const SensorFiles& files, const Decode& decode, const ReadOptions& reading,
                     cv::Size storedSize);

    /// @param whole  rounds to integers, for pipelines that take nothing else
    void takeOffShutter(cv::Mat_<float>& values, bool whole) const;
    void takeOffPattern(cv::Mat_<float>& values, bool whole) const;

  private:
    cv::Mat_<float> shutter_;  ///< less its mean; empty for none
    cv::Mat_<float> pattern_;  ///< empty for none
};

}  // namespace oravo::tools

#endif
