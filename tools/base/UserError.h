#ifndef ORAVO_TOOLS_BASE_USERERROR_H
#define ORAVO_TOOLS_BASE_USERERROR_H

#include <stdexcept>
#include <string>

#include "tools/base/Messages.h"

namespace oravo::tools {

/// What the program returns to its caller; the manual (--help) lists them.
enum class ExitCode {
    kSuccess = 0,
    kUsage = 1,
    kInput = 2,
    kOutput = 3,
    kReconstruction = 4,
    kInternal = 5,
    kDoubtful = 6  ///< done, but an image is not known to be better than an enlargement of one frame
};

/// A failure that the user can do something about: one printable line, and what the program exits with.
class UserError : public std::runtime_error {
  public:
    UserError(ExitCode code, const std::string& message)
        : std::runtime_error(printable(message)), code_(code) {}
    ExitCode code() const noexcept { return code_; }

  private:
    ExitCode code_;
};

inline UserError inputError(const std::string& message) {
    return {ExitCode::kInput, message};
}
inline UserError outputError(const std::string& message) {
    return {ExitCode::kOutput, message};
}

}  // namespace oravo::tools

#endif
