#ifndef ORAVO_TOOLS_MESSAGES_H
#define ORAVO_TOOLS_MESSAGES_H

#include <string>

namespace oravo::tools {

/// printf into a string.
std::string format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));

/// One line on standard error: plain news, or a warning behind the program's name.
void note(const std::string& line);
void warn(const std::string& line);

/// The text of the exception now being handled, on one line: what was thrown by the library (exceptions of
/// its own, C strings), by OpenCV or by the standard library.
std::string currentExceptionText();

}  // namespace oravo::tools

#endif
