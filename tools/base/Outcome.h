#ifndef ORAVO_TOOLS_BASE_OUTCOME_H
#define ORAVO_TOOLS_BASE_OUTCOME_H

#include <functional>

#include "tools/base/UserError.h"

namespace oravo::tools {

/// Runs an action and turns what it throws into a line on standard error and an exit code.
ExitCode outcomeOf(const std::function<void()>& action);

}  // namespace oravo::tools

#endif
