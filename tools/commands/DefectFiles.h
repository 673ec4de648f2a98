#ifndef ORAVO_TOOLS_COMMANDS_DEFECTFILES_H
#define ORAVO_TOOLS_COMMANDS_DEFECTFILES_H

#include <opencv2/core.hpp>
#include <string>

#include "tools/defects/DefectList.h"
#include "tools/input/FrameReader.h"

namespace oravo::tools {

// What the commands about bad pixels have in common.

constexpr char kNothingHealthy[] =
    "lists every pixel, and no healthy one is left to replace them (are --low and --high right?)";

/// The frame itself. Throws UserError unless it holds counts of 16 bits.
const cv::Mat& requireCounts(const cv::Mat& frame, const std::string& name);
/// The same for counts of 16 bits or 32-bit floats.
const cv::Mat& requireRepairable(const cv::Mat& frame, const std::string& name);

/// A mask of frames as they are read, cropped or not: 255 at the pixels of a list for frames of the stored size or of
/// the crop's. Says how many there are. Throws UserError for a list of other frames, and for one of every pixel.
cv::Mat_<uchar> readDefectMask(const std::string& path, const ReadOptions& reading, cv::Size storedSize,
                               const std::string& frame);

/// Throws UserError where the target is one of the inputs.
void refuseInput(const FrameReader& reader, const std::string& target);

/// Says how many bad pixels a list holds, and warns of those that cannot be replaced.
void summarise(const std::string& path, const DefectList& list, const char* remedy);

/// A picture of a frame in grey with its bad pixels marked.
void writeMarked(const std::string& path, const cv::Mat& frame, const DefectList& list);

}  // namespace oravo::tools

#endif
