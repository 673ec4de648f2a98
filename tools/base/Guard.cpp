#include "tools/base/Guard.h"

namespace oravo::tools {
namespace {

GuardLog* living = nullptr;

}  // namespace

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
