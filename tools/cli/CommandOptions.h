#ifndef ORAVO_TOOLS_CLI_COMMANDOPTIONS_H
#define ORAVO_TOOLS_CLI_COMMANDOPTIONS_H

#include <CLI/CLI.hpp>
#include <string>

#include "tools/commands/Commands.h"
#include "tools/commands/DefectsCommand.h"
#include "tools/commands/MeasureCommand.h"
#include "tools/commands/PatternCommand.h"

namespace oravo::tools {

// Each adds a command, which runs as soon as it is parsed. Its fields must outlive the parsing; its manual ends in the
// exit codes.

void addEnhance(CLI::App& app, EnhanceCommand& command, const std::string& exitCodes);
void addSimulate(CLI::App& app, SimulateCommand& command, const std::string& exitCodes);
void addEvaluate(CLI::App& app, EvaluateCommand& command, const std::string& exitCodes);
/// "defects", with commands of its own.
void addDefects(CLI::App& app, DefectsCommand& command, const std::string& exitCodes);
/// "measure", likewise.
void addMeasure(CLI::App& app, MeasureCommand& command, const std::string& exitCodes);
/// "pattern", likewise.
void addPattern(CLI::App& app, PatternCommand& command, const std::string& exitCodes);

}  // namespace oravo::tools

#endif
