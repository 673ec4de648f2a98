#include "tools/base/Guard.h"

#include "tools/base/Messages.h"

namespace oravo::tools {

void Findings::warn(const Guard& guard) {
    const std::string line = guard.text + (guard.action.empty() ? "" : "; " + guard.action);
    if (say_) return say_(line);
    tools::warn(line);
    all_.push_back(guard);
}

void Findings::warn(const std::string& text) {
    warn(Guard{"warning", std::nullopt, text, ""});
}

}  // namespace oravo::tools
