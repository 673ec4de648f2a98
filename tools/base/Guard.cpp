#include "tools/base/Guard.h"

#include "tools/base/Messages.h"

namespace oravo::tools {

void Findings::warn(const Guard& guard) {
    const std::string line = guard.text + (guard.action.empty() ? "" : "; " + guard.action);
    if (!say_) {
        tools::warn(line);
        all_.push_back(guard);
        return;
    }
    now_.insert(guard.name);
    if (before_.count(guard.name) == 0) say_(line);
}

void Findings::nextFrame() {
    before_.swap(now_);
    now_.clear();
}

void Findings::warn(const std::string& text) {
    warn(Guard{"warning", std::nullopt, text, ""});
}

}  // namespace oravo::tools
