#ifndef ORAVO_TOOLS_BASE_FILESTATE_H
#define ORAVO_TOOLS_BASE_FILESTATE_H

#include <cstdint>
#include <string>

namespace oravo::tools {

/// A file's content, and the marks by which the system shows that it is still the same. Times are nanoseconds since
/// 1970.
struct FileState {
    std::string file;           ///< absolute name
    std::uint64_t size = 0;     ///< bytes
    std::int64_t modified = 0;  ///< when its content was written last, as far as its owner left that alone
    std::int64_t changed = 0;   ///< when anything about it changed last, which nobody can set
    std::string sha256;         ///< of its content, in lower-case hexadecimal digits; of a folder empty
};

/// Reads the file. Throws UserError of the input kind where it cannot be read.
FileState stateOf(const std::string& path);

/// Without reading it: name, size and times alone. A folder has no size; what is not there has no times.
FileState marksOf(const std::string& path);

/// Whether name, size and times show that the file is the one of that state, without a look at its content.
bool isSurelyUnchanged(const FileState& state);

/// Takes away times so fresh that the file could change once more within the same tick of the system's clock: without
/// them a state is never sure.
FileState withoutFreshTimes(FileState state);

}  // namespace oravo::tools

#endif
