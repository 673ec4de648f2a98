#ifndef ORAVO_TOOLS_FORMATS_RADIOMETRICJPEG_H
#define ORAVO_TOOLS_FORMATS_RADIOMETRICJPEG_H

#include <map>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tools/formats/ExifTool.h"

namespace oravo::tools {

/// What lies in a JPEG file beside its picture for the eye.
struct RadiometricImage {
    cv::Mat_<ushort> counts;
    std::map<std::string, double> numbers;  ///< those of the wanted tags that the file has
};

/// Whether a JPEG file has the segments in which thermal cameras keep raw images. Throws UserError where it cannot be read.
bool isRadiometricJpeg(const std::string& path);

/// The raw thermal image of a JPEG file, a PNG or uncompressed 16-bit image inside, and numbers with their tags.
/// @param wanted  tags as exiftool calls them
/// Throws UserError, naming the file, where there is none, or one that is damaged or compressed with loss.
RadiometricImage readRadiometricJpeg(const std::string& path, const std::vector<std::string>& wanted,
                                     ExifTool& exiftool);

/// The image, or the one with the two bytes of each pixel swapped: cameras store the low byte first in their PNG images, where
/// the format has the high one first. With few exceptions, which give themselves away: with the bytes in the wrong order an image
/// is noise.
/// @param image  as the format has it
cv::Mat_<ushort> inOrderOfCamera(const cv::Mat_<ushort>& image);

}  // namespace oravo::tools

#endif
