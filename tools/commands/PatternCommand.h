#ifndef ORAVO_TOOLS_COMMANDS_PATTERNCOMMAND_H
#define ORAVO_TOOLS_COMMANDS_PATTERNCOMMAND_H

#include <string>
#include <vector>

#include "tools/enhance/Enlarged.h"
#include "tools/input/FrameReader.h"
#include "tools/input/SensorCorrection.h"
#include "tools/values/Decode.h"

namespace oravo::tools {

// The fixed pattern of a sensor. Throws UserError; messages go to standard error.

struct LearnPatternCommand {
    /// Recordings: folders, files of several frames, and runs of files of one frame.
    std::vector<std::string> inputs;
    std::string output;
    ReadOptions reading;
    Decode decode;
    SensorFiles sensor;  ///< the shutter's frames, if any
    EnhanceParameters parameters;
};
void learnPattern(const LearnPatternCommand& command);

struct PatternCommand {
    LearnPatternCommand learn;
};

}  // namespace oravo::tools

#endif
