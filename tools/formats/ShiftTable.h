#ifndef ORAVO_TOOLS_FORMATS_SHIFTTABLE_H
#define ORAVO_TOOLS_FORMATS_SHIFTTABLE_H

#include <cstddef>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace oravo::tools {

// Shifts are in input pixels, x to the right, y down: frame(p + d) = reference(p).

constexpr std::size_t kMostShifts = 100000;  ///< of one recording

/// Comma-separated text: comments after '#', the header row frame,dx,dy, and a line for each frame, numbered
/// with the given numbers.
std::string shiftTable(const std::vector<cv::Point2f>& shifts, const std::vector<std::size_t>& frames,
                       const std::string& comment);

/// Shifts out of a text "dx,dy;dx,dy;...", or out of the file of that name: the last two columns of its
/// lines; comments and a header row are skipped. Throws UserError, naming what could not be understood.
std::vector<cv::Point2f> parseShifts(const std::string& textOrFile);

}  // namespace oravo::tools

#endif
