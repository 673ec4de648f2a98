#ifndef ORAVO_TOOLS_COMMANDS_BATCH_H
#define ORAVO_TOOLS_COMMANDS_BATCH_H

#include "tools/commands/Commands.h"

namespace oravo::tools {

/// Enhances many recordings, each input being one of its own, in as many processes at a time as there are jobs,
/// since the library serves one thread at a time. The output is a folder that gets NAME.tif for each input
/// NAME or NAME.EXTENSION; {} in the names of other outputs becomes NAME. A recording that fails does not keep the
/// others from being done; at the end the highest of their exit codes is thrown as a UserError.
void enhanceBatch(const EnhanceCommand& command);

}  // namespace oravo::tools

#endif
