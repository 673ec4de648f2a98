#include "tools/enhance/StageTimes.h"

#include <cstdlib>
#include <sstream>

namespace oravo::tools {

std::vector<StageTime> stageTimes(const std::string& timingReport) {
    std::vector<StageTime> stages;
    std::istringstream lines(timingReport);
    std::string line;
    while (std::getline(lines, line)) {
        const std::size_t start = line.find_first_not_of(' ');
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos || start >= colon || line.find("[ms]") == std::string::npos) continue;
        stages.push_back({line.substr(start, colon - start), std::strtod(line.c_str() + colon + 1, nullptr)});
    }
    return stages;
}

}  // namespace oravo::tools
