#ifndef ORAVO_TOOLS_COMMANDS_DEFECTSCOMMAND_H
#define ORAVO_TOOLS_COMMANDS_DEFECTSCOMMAND_H

#include <optional>
#include <string>
#include <vector>

#include "tools/input/FrameReader.h"

namespace oravo::tools {

// The bad pixels of a sensor. Each function throws UserError; messages go to standard error.

/// How bad pixels are found.
enum class DefectSearchKind {
    automatic,  ///< by motion where the scene moves, else by values
    motion,     ///< by what does not follow the scene while it moves over the sensor
    values      ///< in each frame on its own, by values that are nearly alone in it
};

struct DetectDefectsCommand {
    std::vector<std::string> frames;
    ReadOptions reading;
    std::string output;
    std::string marked;
    DefectSearchKind search = DefectSearchKind::automatic;
    std::optional<int> low;   ///< none: 0, or no bound for frames with counts below 0
    std::optional<int> high;  ///< none: the full scale of 12, 14 or 16 bits that holds all counts
    int maxCount = 3;
    int span = 100;
    int radius = 5;
};
void detectDefects(const DetectDefectsCommand& command);

struct RepairDefectsCommand {
    std::string list;
    std::vector<std::string> frames;
    ReadOptions reading;
    std::string output;
};
void repairDefects(const RepairDefectsCommand& command);

struct MergeDefectsCommand {
    std::string fresh;
    std::string list;
    std::string output;
    int radius = 5;
};
void mergeDefectLists(const MergeDefectsCommand& command);

struct DefectsCommand {
    DetectDefectsCommand detect;
    RepairDefectsCommand repair;
    MergeDefectsCommand merge;
};

}  // namespace oravo::tools

#endif
