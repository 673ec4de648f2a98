#ifndef ORAVO_TOOLS_REPORT_VERDICT_H
#define ORAVO_TOOLS_REPORT_VERDICT_H

#include <string>
#include <vector>

#include "tools/report/Report.h"

namespace oravo::tools {

/// How far an image may be believed: what a report begins with.
struct Verdict {
    enum class Level {
        better,   ///< than bicubic enlargement, as measured
        caution,  ///< an image with a warning
        doubtful  ///< not known to be better than bicubic enlargement
        ,
        unmeasured  ///< by a pipeline that measures no such thing
    };
    Level level = Level::unmeasured;
    std::string headline;
    std::string explanation;
};

Verdict verdictOn(const Report& report);
/// "better", "caution", "doubtful" or "unmeasured".
std::string nameOf(Verdict::Level level);

/// What was left out of the last image or corrected, and why, a sentence each.
std::vector<std::string> leftOutOf(const Report& report);

/// What else was found, in the order of its discovery.
std::vector<Guard> warningsOf(const Report& report);

}  // namespace oravo::tools

#endif
