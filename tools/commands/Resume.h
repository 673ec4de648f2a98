#ifndef ORAVO_TOOLS_COMMANDS_RESUME_H
#define ORAVO_TOOLS_COMMANDS_RESUME_H

#include <utility>
#include <vector>

#include "tools/commands/Commands.h"
#include "tools/input/InputFiles.h"
#include "tools/output/Receipt.h"

namespace oravo::tools {

/// The files that are wanted beside the image, and the options that name them.
std::vector<std::pair<const char*, std::string*>> sideFiles(EnhanceCommand& command);

/// The receipt of a command that may be resumed. Throws UserError where its results are not one set of files.
Receipt receiptOf(const EnhanceCommand& command, const InputFiles& inputs);

/// Says that finished results are left as they are; throws the UserError that their making ended with.
void leaveFinished(const EnhanceCommand& command, ExitCode code);

}  // namespace oravo::tools

#endif
