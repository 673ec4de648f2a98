#ifndef ORAVO_SUPPORT_EXCEPTION_H
#define ORAVO_SUPPORT_EXCEPTION_H

#include <exception>
#include <string>

#include "support/Export.h"

namespace oravo {

/// What the library's engines throw: a kind for code to decide by, and texts for people.
///
/// what() is the message, a line end, and the location; the location names source, line and function as
/// "source/path/without/extension: LINE: qualified::function(..)" and ends in a line end of its own.
class ORAVO_EXPORT Exception : public std::exception {
  public:
    /// What kind of thing went wrong.
    enum class Kind {
        other,           ///< none of the following, or not stated
        badArgument,     ///< an invalid argument, such as a size, a factor or a list of another format
        notReady,        ///< the object lacks what the call needs, such as frames, shifts or a calibration
        tooManyDefects,  ///< a frame has more defective pixels than can be repaired
        tooLargeDisplacement,  ///< a frame moved by half the frame height or more
        infiniteValues,        ///< the spectrum of a frame reaches infinity
        outOfMemory,           ///< more memory was requested than there is
        cancelled              ///< the caller's progress callback ended the run
    };

    /// @param kind      of what went wrong
    /// @param message   what went wrong
    /// @param location  where, as above
    Exception(Kind kind, const std::string& message, const std::string& location);
    /// The same, of kind other.
    /// @param message   what went wrong
    /// @param location  where, as above
    Exception(const std::string& message, const std::string& location);
    Exception(const Exception&) = default;             ///< copies kind and texts
    Exception& operator=(const Exception&) = default;  ///< copies kind and texts
    ~Exception() override;

    const char* what() const noexcept override;  ///< message and location, see above

    /// What kind of thing went wrong.
    Kind kind() const noexcept { return kind_; }
    /// What went wrong, without the location.
    const std::string& message() const noexcept { return message_; }
    /// Where it was found, ending in a line end.
    const std::string& location() const noexcept { return location_; }

  private:
    std::string message_;
    std::string location_;
    std::string text_;
    Kind kind_;
};

}  // namespace oravo

#endif
