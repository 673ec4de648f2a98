#ifndef ORAVO_TOOLS_CLI_RESULTOPTIONS_H
#define ORAVO_TOOLS_CLI_RESULTOPTIONS_H

#include <CLI/CLI.hpp>

#include "tools/commands/Commands.h"

namespace oravo::tools {

/// Adds --preview, --palette, --range, --coverage, --noise-map and --report.
void addResultOptions(CLI::App* command, ResultOptions& options);

}  // namespace oravo::tools

#endif
