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

/// How stored numbers become values. Refers to the command.
ValueOptions valueOptions(const EnhanceCommand& command);

}  // namespace oravo::tools

#endif
