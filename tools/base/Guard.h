#ifndef ORAVO_TOOLS_BASE_GUARD_H
#define ORAVO_TOOLS_BASE_GUARD_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace oravo::tools {

/// What was found wrong with a recording, and what was done about it.
struct Guard {
    std::string name;                  ///< of the check; "warning" for what is just said
    std::optional<std::size_t> frame;  ///< its number in the recording, where it is about one
    std::string text;                  ///< what was found, as it is said on standard error
    std::string action;                ///< what was done, or is to be done; may be empty
};

/// Says it as a warning (see Messages.h): the text, and the action after a semicolon.
void warn(const Guard& guard);

/// Keeps what is said as a warning, plain or as a guard, for as long as it lives. One at a time.
class GuardLog {
  public:
    GuardLog();
    ~GuardLog();
    GuardLog(const GuardLog&) = delete;
    GuardLog& operator=(const GuardLog&) = delete;

    const std::vector<Guard>& guards() const { return guards_; }

    /// Adds to the log that lives, if one does.
    static void note(const Guard& guard);

  private:
    std::vector<Guard> guards_;
};

}  // namespace oravo::tools

#endif
