#include "tools/Guard.h"

#include <iostream>

namespace oravo::tools {
namespace {

GuardLog* living = nullptr;

}  // namespace

void warn(const Guard& guard) {
    std::cerr << "oravo-superres: warning: " << guard.text << (guard.action.empty() ? "" : "; ")
              << guard.action << '\n';
    GuardLog::note(guard);
}

GuardLog::GuardLog() {
    living = this;
}

GuardLog::~GuardLog() {
    living = nullptr;
}

void GuardLog::note(const Guard& guard) {
    if (living != nullptr) living->guards_.push_back(guard);
}

}  // namespace oravo::tools
