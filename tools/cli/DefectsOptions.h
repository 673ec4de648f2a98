#ifndef ORAVO_TOOLS_CLI_DEFECTSOPTIONS_H
#define ORAVO_TOOLS_CLI_DEFECTSOPTIONS_H

#include <CLI/CLI.hpp>
#include <string>

#include "tools/commands/DefectsCommand.h"

namespace oravo::tools {

/// Adds the command "defects" with its own commands; the command's fields must outlive the parsing.
void addDefects(CLI::App& app, DefectsCommand& command, const std::string& exitCodes);

}  // namespace oravo::tools

#endif
