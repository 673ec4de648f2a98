#ifndef ORAVO_TOOLS_COUNTSWRITER_H
#define ORAVO_TOOLS_COUNTSWRITER_H

#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// Writes 16-bit counts, unsigned to TIFF or PNG, signed to TIFF with its sample format saying so. As a whole
/// or not at all, like writeImage.
void writeCounts(const std::string& path, const cv::Mat& counts);

}  // namespace oravo::tools

#endif
