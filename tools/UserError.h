#ifndef ORAVO_TOOLS_USERERROR_H
#define ORAVO_TOOLS_USERERROR_H

#include <stdexcept>
#include <string>

namespace oravo::tools {

/// What the program returns to its caller; the manual (--help) lists them.
enum class ExitCode { kSuccess = 0, kUsage = 1, kInput = 2, kOutput = 3, kReconstruction = 4, kInternal = 5 };

/// A failure that the user can do something about: one line, and what the program exits with. Names and files may
/// hold line ends and what steers a terminal; question marks stand for them.
class UserError : public std::runtime_error {
  public:
    UserError(ExitCode code, const std::string& message)
        : std::runtime_error(oneLine(message)), code_(code) {}
    ExitCode code() const noexcept { return code_; }

  private:
    static std::string oneLine(std::string message) {
        for (char& c : message) {
            const auto code = static_cast<unsigned char>(c);
            if (code < 0x20 || code == 0x7f) c = '?';
        }
        return message;
    }

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
