#ifndef ORAVO_TOOLS_COMMANDS_MEASURECOMMAND_H
#define ORAVO_TOOLS_COMMANDS_MEASURECOMMAND_H

#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/input/FrameReader.h"
#include "tools/values/Decode.h"

namespace oravo::tools {

// What is measured of a camera. Each function throws UserError; figures go to standard output, messages to standard error.

struct MeasureBlurCommand {
    std::vector<std::string> inputs;
    ReadOptions reading;
    Decode decode;
    std::optional<cv::Rect> region;  ///< of the frames as read; none: the sharpest straight edge of each
    std::string picture;
    bool json = false;
};
void measureBlur(const MeasureBlurCommand& command);

struct MeasureCommand {
    MeasureBlurCommand blur;
};

}  // namespace oravo::tools

#endif
