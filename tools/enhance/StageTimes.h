#ifndef ORAVO_TOOLS_ENHANCE_STAGETIMES_H
#define ORAVO_TOOLS_ENHANCE_STAGETIMES_H

#include <string>
#include <vector>

namespace oravo::tools {

/// How long a stage of a reconstruction took.
struct StageTime {
    std::string name;
    double milliseconds;
};

/// Out of the report that the library prints with each run: its lines of a name, a colon and a time in "[ms]".
std::vector<StageTime> stageTimes(const std::string& timingReport);

}  // namespace oravo::tools

#endif
