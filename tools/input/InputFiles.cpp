#include "tools/input/InputFiles.h"

#include <algorithm>

#include "tools/base/FileNames.h"

namespace oravo::tools {

bool InputFiles::contain(const std::string& path) const {
    const auto is = [&](const std::string& text) { return isSameFile(text, path); };
    return frames.readsFrom(path) || std::any_of(others.begin(), others.end(), is);
}

bool InputFiles::lieIn(const std::string& folder) const {
    return std::any_of(named.begin(), named.end(),
                       [&](const std::string& input) { return isFolderOf(input, folder); });
}

}  // namespace oravo::tools
