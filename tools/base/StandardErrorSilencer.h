#ifndef ORAVO_TOOLS_BASE_STANDARDERRORSILENCER_H
#define ORAVO_TOOLS_BASE_STANDARDERRORSILENCER_H

#include <fcntl.h>
#include <unistd.h>

namespace oravo::tools {

/// Leads standard error into nothing for as long as it lives, for all of the process: the image codecs print
/// there, through streams and the C library, what they also report to their caller.
class StandardErrorSilencer {
  public:
    StandardErrorSilencer() : before_(::dup(STDERR_FILENO)) {
        const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (before_ >= 0 && nowhere >= 0) ::dup2(nowhere, STDERR_FILENO);
        if (nowhere >= 0) ::close(nowhere);
    }
    StandardErrorSilencer(const StandardErrorSilencer&) = delete;
    StandardErrorSilencer& operator=(const StandardErrorSilencer&) = delete;
    ~StandardErrorSilencer() {
        if (before_ < 0) return;
        ::dup2(before_, STDERR_FILENO);
        ::close(before_);
    }

  private:
    int before_;
};

}  // namespace oravo::tools

#endif
