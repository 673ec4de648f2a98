#ifndef ORAVO_SUPPORT_EXCEPTION_H
#define ORAVO_SUPPORT_EXCEPTION_H

#include <exception>
#include <string>

#include "support/Export.h"

namespace oravo {

/// What the library's engines throw.
///
/// what() is the message, a line end, and the location; the location names source, line and function as
/// "source/path/without/extension: LINE: qualified::function(..)" and ends in a line end of its own.
class ORAVO_EXPORT Exception : public std::exception {
  public:
    /// @param message   what went wrong
    /// @param location  where, as above
    Exception(const std::string& message, const std::string& location);
    Exception(const Exception&) = default;             ///< copies the texts
    Exception& operator=(const Exception&) = default;  ///< copies the texts
    ~Exception() override;

    const char* what() const noexcept override;  ///< message and location, see above

    /// What went wrong, without the location.
    const std::string& message() const noexcept { return message_; }
    /// Where it was found, ending in a line end.
    const std::string& location() const noexcept { return location_; }

  private:
    std::string message_;
    std::string location_;
    std::string text_;
};

}  // namespace oravo

#endif
