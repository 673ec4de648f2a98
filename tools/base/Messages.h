#ifndef ORAVO_TOOLS_BASE_MESSAGES_H
#define ORAVO_TOOLS_BASE_MESSAGES_H

#include <cstddef>
#include <string>
#include <vector>

#include "support/Exception.h"

namespace oravo::tools {

/// printf into a string.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

/// The text with '?' in place of control characters: names and files may hold line ends and commands to a terminal.
std::string printable(std::string text);

/// One line on standard error, printable: plain news; a warning or a failure after the program's name, coloured on a
/// terminal unless NO_COLOR is set.
void note(const std::string& line);
void warn(const std::string& line);
void complain(const std::string& line);

/// What every line begins with from now on.
void setMessagePrefix(const std::string& prefix);

/// On a terminal, a line that the next one of any kind replaces; empty to take it away. Not shown elsewhere, nor
/// after a prefix.
void showStatus(const std::string& line);

/// Ascending numbers in few words: "0 to 4, 6".
std::string ranges(const std::vector<std::size_t>& numbers);

/// The text of the exception now being handled, on one line: what was thrown by the library (exceptions of
/// its own, C strings), by OpenCV or by the standard library.
std::string currentExceptionText();

/// Whether it is the library's and of this kind.
bool currentExceptionIs(Exception::Kind kind);

/// Whether it says that there is not enough memory.
bool currentExceptionIsLackOfMemory();

}  // namespace oravo::tools

#endif
