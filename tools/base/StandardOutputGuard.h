#ifndef ORAVO_TOOLS_BASE_STANDARDOUTPUTGUARD_H
#define ORAVO_TOOLS_BASE_STANDARDOUTPUTGUARD_H

#include <iostream>
#include <sstream>
#include <string>

namespace oravo::tools {

/// Collects what is printed to std::cout for as long as it lives: the library reports the timing of every run
/// there.
class StandardOutputGuard {
  public:
    /// @param discards  keeps what was printed from standard output; else it goes there in the end
    explicit StandardOutputGuard(bool discards)
        : discards_(discards), before_(std::cout.rdbuf(collected_.rdbuf())) {}
    StandardOutputGuard(const StandardOutputGuard&) = delete;
    StandardOutputGuard& operator=(const StandardOutputGuard&) = delete;
    ~StandardOutputGuard() {
        std::cout.rdbuf(before_);
        if (!discards_) std::cout << collected_.str() << std::flush;
    }

    /// What was printed so far.
    std::string text() const { return collected_.str(); }

  private:
    bool discards_;
    std::ostringstream collected_;
    std::streambuf* before_;
};

}  // namespace oravo::tools

#endif
