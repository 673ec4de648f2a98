#ifndef ORAVO_TOOLS_FORMATS_NPYFILE_H
#define ORAVO_TOOLS_FORMATS_NPYFILE_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <string_view>

#include "tools/formats/FrameFile.h"

namespace oravo::tools {

/// Whether a file that starts like this is an array as NumPy saves it (.npy).
bool isNpy(std::string_view start);

/// The frames of a saved array, versions 1 to 3 of the format: an array of rows x columns is one frame, one of
/// frames x rows x columns a recording; a last dimension of 1 is left out. Numbers of any byte order, whole or
/// floating point; single frames in column (Fortran) order too.
/// @param start     the file from its start on, at least its header
/// @param fileSize  the header must account for every byte
/// Throws UserError with the file's name and what is wrong.
FrameLayout npyLayout(std::string_view start, std::uint64_t fileSize, const std::string& name);
FrameLayout npyLayout(const std::string& path);

/// The header of an array of the image's type, of images x rows x columns; of rows x columns for 0 images. It has the same
/// length for every number of them, so that it can be rewritten once that is known.
std::string npyHeader(const cv::Mat& image, std::size_t images);

}  // namespace oravo::tools

#endif
