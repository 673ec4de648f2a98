#ifndef ORAVO_TOOLS_INPUT_INPUTFILES_H
#define ORAVO_TOOLS_INPUT_INPUTFILES_H

#include <string>
#include <vector>

#include "tools/input/FrameReader.h"

namespace oravo::tools {

/// What a run reads, and must not write. Refers to what it is made of.
struct InputFiles {
    const FrameReader& frames;
    const std::vector<std::string>& named;  ///< files and folders of frames, as on the command line
    std::vector<std::string> others;        ///< texts of other options, some of which name files

    /// Whether the file of this name is read.
    bool contain(const std::string& path) const;
    /// Whether frames were asked for that lie in this folder.
    bool lieIn(const std::string& folder) const;
};

}  // namespace oravo::tools

#endif
