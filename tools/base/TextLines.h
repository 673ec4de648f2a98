#ifndef ORAVO_TOOLS_BASE_TEXTLINES_H
#define ORAVO_TOOLS_BASE_TEXTLINES_H

#include <cstddef>
#include <istream>
#include <string>
#include <string_view>

namespace oravo::tools {

/// Reads up to the next end mark, which is taken off, or to the end of the text; false when nothing is left. What is
/// not text may have no end: a line is read up to one character more than `longest`, by which its reader knows it.
bool readLine(std::istream& text, char end, std::size_t longest, std::string& line);

/// The beginning of a text as it can be shown in a message, in quotes.
std::string excerpt(std::string_view text);

}  // namespace oravo::tools

#endif
