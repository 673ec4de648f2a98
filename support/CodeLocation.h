#ifndef ORAVO_SUPPORT_CODELOCATION_H
#define ORAVO_SUPPORT_CODELOCATION_H

#include <string>

#include "support/Exception.h"

namespace oravo {

using ErrorKind = Exception::Kind;

/// A place in the source, as it stands in the location text of an Exception.
struct CodeLocation {
    const char* source;    ///< path below the source root, without extension
    int line;              ///< line of the throw
    const char* function;  ///< qualified name, without parameters

    std::string text() const {
        return std::string(source) + ": " + std::to_string(line) + ": " + function + "(..)\n";
    }
};

[[noreturn]] inline void raise(ErrorKind kind, const std::string& message, const CodeLocation& where) {
    throw Exception(kind, message, where.text());
}

}  // namespace oravo

#endif
