#include "tools/base/Outcome.h"

#include "tools/base/Messages.h"

namespace oravo::tools {

ExitCode outcomeOf(const std::function<void()>& action) {
    try {
        action();
        return ExitCode::kSuccess;
    } catch (const UserError& e) {
        complain(e.what());
        return e.code();
    } catch (...) {
        if (currentExceptionIsLackOfMemory()) {
            complain("frames of this size need more memory than there is");
            return ExitCode::kInput;
        }
        complain("internal failure: " + currentExceptionText());
        return ExitCode::kInternal;
    }
}

}  // namespace oravo::tools
