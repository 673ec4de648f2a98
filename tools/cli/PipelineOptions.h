#ifndef ORAVO_TOOLS_CLI_PIPELINEOPTIONS_H
#define ORAVO_TOOLS_CLI_PIPELINEOPTIONS_H

#include <CLI/CLI.hpp>

#include "tools/enhance/Enlarged.h"

namespace oravo::tools {

/// Adds the options that choose a pipeline, its frames, and how it aligns them. Values that the chosen pipeline does not
/// know are refused by settlePipeline().
void addPipelineOptions(CLI::App& command, EnhanceParameters& parameters);

/// Adds --frames, without a check of its range.
CLI::Option* addFramesOption(CLI::App& command, EnhanceParameters& parameters, const std::string& manual);

/// Adds --psf-sigma and --psf-box.
void addBlurOptions(CLI::App& command, EnhanceParameters& parameters);

/// Throws UserError for an option that was given and that the chosen pipeline has no use for.
void refuseUselessOptions(const CLI::App& command, const EnhanceParameters& parameters);

}  // namespace oravo::tools

#endif
