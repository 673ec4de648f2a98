#include "support/Exception.h"

namespace oravo {

Exception::Exception(Kind kind, const std::string& message, const std::string& location)
    : message_(message), location_(location), text_(message + "\n" + location), kind_(kind) {
}

Exception::Exception(const std::string& message, const std::string& location)
    : Exception(Kind::other, message, location) {
}

// Out of line, so that the type information exists once and a host catches the type that was thrown.
Exception::~Exception() = default;

const char* Exception::what() const noexcept {
    return text_.c_str();
}

}  // namespace oravo
