#ifndef ORAVO_TOOLS_COMMANDS_REPORTFACTS_H
#define ORAVO_TOOLS_COMMANDS_REPORTFACTS_H

#include <string>
#include <vector>

#include "tools/commands/Commands.h"
#include "tools/report/Report.h"

namespace oravo::tools {

/// The unit of decoded values: as given, "counts" for raw ones, else empty.
std::string unitOf(const EnhanceCommand& command);

// What a report says about how an image was made.

std::vector<Fact> versionFacts();
std::vector<Fact> inputFacts(const EnhanceCommand& command, const FrameReader& reader, cv::Size frameSize);
std::vector<Fact> parameterFacts(const EnhanceCommand& command, const EnhanceParameters& parameters);

/// The time now, UTC, ISO 8601.
std::string timeNow();

}  // namespace oravo::tools

#endif
