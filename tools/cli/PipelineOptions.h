#ifndef ORAVO_TOOLS_CLI_PIPELINEOPTIONS_H
#define ORAVO_TOOLS_CLI_PIPELINEOPTIONS_H

#include <CLI/CLI.hpp>

#include "tools/enhance/Enhancer.h"

namespace oravo::tools {

/// Adds the options that choose a pipeline and how it aligns frames. Options that the chosen pipeline does not
/// know are refused by settlePipeline().
void addPipelineOptions(CLI::App& command, EnhanceParameters& parameters);

}  // namespace oravo::tools

#endif
