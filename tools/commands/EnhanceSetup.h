#ifndef ORAVO_TOOLS_COMMANDS_ENHANCESETUP_H
#define ORAVO_TOOLS_COMMANDS_ENHANCESETUP_H

#include "tools/base/Guard.h"
#include "tools/commands/Commands.h"
#include "tools/input/ValueReader.h"

namespace oravo::tools {

// What enhance settles before its first frame, wherever that comes from.

/// The parameters, with the blur of the camera where one is described. Says which, and warns of a description without a
/// known model.
EnhanceParameters withCamera(const EnhanceCommand& command, Findings& findings);

/// How stored numbers become values. Refers to the command. Says how many pixels a list of defects holds.
/// @param storedSize  of the frames before the crop
/// @param frame       name of one of them
/// Throws UserError for a list that does not fit.
ValueOptions valueOptions(const EnhanceCommand& command, cv::Size storedSize, const std::string& frame);

/// The command with what radiometric files settle: degrees Celsius. Throws UserError of the usage kind where these are to be
/// counts.
EnhanceCommand withTemperatures(const EnhanceCommand& command, const FrameReader& reader);

/// A finding where constants of the object differ between the radiometric frames that have been read.
void warnOfConstants(const FrameReader& reader, Findings& findings);

}  // namespace oravo::tools

#endif
