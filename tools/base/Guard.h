#ifndef ORAVO_TOOLS_BASE_GUARD_H
#define ORAVO_TOOLS_BASE_GUARD_H

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace oravo::tools {

/// What was found wrong with a recording, and what was done about it.
struct Guard {
    std::string name;                  ///< of the check; "warning" for a text alone
    std::optional<std::size_t> frame;  ///< its number in the recording, where it is about one
    std::string text;                  ///< what was found, as printed on standard error
    std::string action;                ///< what was done, or is to be done; may be empty
};

/// What was found wrong with a recording, in the order of its discovery; for the report.
class Findings {
  public:
    /// Prints warnings (see Messages.h), and keeps them.
    Findings() = default;
    /// Of a stream, which has no end: hands warnings to others and keeps none. One that recurs under its name for frame after
    /// frame is given for the first of them; thirty lines a second would hide everything else.
    explicit Findings(std::function<void(const std::string& line)> say) : say_(std::move(say)) {}

    /// What follows is about the next frame of a stream.
    void nextFrame();

    /// Reports the text, and the action after a semicolon.
    void warn(const Guard& guard);
    /// The same for a text that is no guard's.
    void warn(const std::string& text);

    const std::vector<Guard>& all() const { return all_; }

  private:
    std::function<void(const std::string&)> say_;  // none: to standard error
    std::set<std::string> before_, now_;           // names found wrong with the stream's latest frames
    std::vector<Guard> all_;
};

}  // namespace oravo::tools

#endif
