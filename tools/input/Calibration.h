#ifndef ORAVO_TOOLS_INPUT_CALIBRATION_H
#define ORAVO_TOOLS_INPUT_CALIBRATION_H

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tools/base/Guard.h"
#include "tools/input/FrameReader.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/detail/calibration/TwoPointCalibration.h"

namespace oravo::tools {

/// The values of a frame as signed 16-bit counts; pixels with status codes become 0. Throws UserError that
/// names the frame, the pixel and the value where one is not an integer from -32768 to 32767.
cv::Mat_<short> signedCounts(const cv::Mat_<float>& frame, const std::string& name);

/// Turns raw counts into temperatures, per pixel by the line through two frames of known temperature; the
/// library's own conversion (SuperResolution::setNucToRad). That lends pixels without a line that of their neighbours, which
/// says nothing about what they count; here they count as defective: those with equal counts, whose counts change by less
/// than a tenth of the usual, or in the other direction, and whose line leaves the range of gains and offsets.
class Calibration {
  public:
    /// @param points  file of counts, temperature, file of counts, temperature; a temperature is a number for
    ///                the whole frame or an image file
    /// @param decode      of the files of counts
    /// @param reading     of the frames: files of counts are raw dumps where frames are, and all images are cropped
    ///                    as they are
    /// @param storedSize  of the frames before the crop, and of all images
    /// @param findings    gets how many pixels have a line out of range
    /// Reports on standard error how many pixels do not respond. Throws UserError where files cannot be used, or most
    /// pixels have equal counts or equal temperatures.
    Calibration(const std::vector<std::string>& points, const Decode& decode, const ReadOptions& reading,
                cv::Size storedSize, Findings& findings);

    /// Status codes pass through. Pixels without a line become NaN, which the library repairs.
    cv::Mat_<float> operator()(const cv::Mat_<float>& counts, const std::string& name) const;

  private:
    vision::detail::TwoPointCalibration lines_;
    cv::Mat_<uchar> defective_;  ///< 255 at pixels without a line of their own
};

}  // namespace oravo::tools

#endif
