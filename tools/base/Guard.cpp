#include "tools/base/Guard.h"

#include "tools/base/Messages.h"

namespace oravo::tools {

void Findings::warn(const Guard& guard) {
    tools::warn(guard.text + (guard.action.empty() ? "" : "; " + guard.action));
    all_.push_back(guard);
}

void Findings::warn(const std::string& text) {
    warn(Guard{"warning", std::nullopt, text, ""});
}

}  // namespace oravo::tools
