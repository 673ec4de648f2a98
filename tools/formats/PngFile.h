#ifndef ORAVO_TOOLS_FORMATS_PNGFILE_H
#define ORAVO_TOOLS_FORMATS_PNGFILE_H

#include <opencv2/core.hpp>
#include <string>
#include <string_view>

#include "tools/formats/ImageMetadata.h"

namespace oravo::tools {

/// What counts stand for: value = offset + scale * count.
struct PngCalibration {
    double scale = 1.0;
    double offset = 0.0;
    std::string unit;  ///< in UTF-8; may be empty
};

/// Whether a file that starts like this is a PNG image.
bool isPng(std::string_view start);

/// A PNG image of one channel, as stored; counts of fewer than 8 bits are scaled to 8. Where a file says by which line its
/// counts become values (pCAL), it is those, as floats, and NaN for the count that is marked as transparent (tRNS). What the
/// header claims is checked before anything is allocated: the kind of pixels, and their number against what the bytes can hold and
/// the memory there is. Throws UserError with the file's name and what is wrong.
cv::Mat decodePng(std::string_view bytes, const std::string& name);

cv::Mat readPng(const std::string& path);

/// A file of 16-bit counts that are marked with what they stand for; 0 stands for no value.
std::string encodePng(const cv::Mat_<ushort>& counts, const PngCalibration& calibration,
                      const ImageMetadata& metadata = {});

}  // namespace oravo::tools

#endif
