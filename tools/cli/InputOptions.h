#ifndef ORAVO_TOOLS_CLI_INPUTOPTIONS_H
#define ORAVO_TOOLS_CLI_INPUTOPTIONS_H

#include <CLI/CLI.hpp>

#include "tools/input/FrameReader.h"
#include "tools/input/SensorCorrection.h"
#include "tools/values/Decode.h"

namespace oravo::tools {

/// Adds --raw, --crop and the constants of radiometric images.
void addReadOptions(CLI::App* command, ReadOptions& options);

/// Adds --encoding, or its parts --scale, --offset and --shift-right, and --unit.
void addDecodeOptions(CLI::App* command, Decode& decode);

/// Adds --shutter.
void addShutterOption(CLI::App* command, SensorFiles& files);

}  // namespace oravo::tools

#endif
