#ifndef ORAVO_TOOLS_RESULTOPTIONS_H
#define ORAVO_TOOLS_RESULTOPTIONS_H

#include <CLI/CLI.hpp>

#include "tools/ResultFiles.h"

namespace oravo::tools {

/// Adds --preview, --palette, --range, --coverage and --noise-map.
void addResultOptions(CLI::App* command, ResultOptions& options);

}  // namespace oravo::tools

#endif
