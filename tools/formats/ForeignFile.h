#ifndef ORAVO_TOOLS_FORMATS_FOREIGNFILE_H
#define ORAVO_TOOLS_FORMATS_FOREIGNFILE_H

#include <string>
#include <string_view>

#include "tools/base/UserError.h"

namespace oravo::tools {

/// What to bring instead of colours, in words for a user.
constexpr char kWantedValues[] = "export the values themselves, one channel of 16 bits or floating point";

/// Whether a file is no text of numbers, whatever its name says: a page of markup, a document, an archive, or a stand-in that
/// version control leaves in place of a large file.
bool isNoMatrix(std::string_view start);

/// Names a file that none of the readers knows, says what it is, as far as libmagic can, and what to do with it.
/// @param start     its first bytes
/// @param namedRaw  whether its name is that of a raw dump
UserError foreignFile(const std::string& path, std::string_view start, bool namedRaw);

/// "a pipe", "a socket" and the like for what is neither a file nor a folder.
std::string kindOfNonFile(const std::string& path);

}  // namespace oravo::tools

#endif
