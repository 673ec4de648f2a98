#ifndef ORAVO_TOOLS_STANDARDOUTPUTGUARD_H
#define ORAVO_TOOLS_STANDARDOUTPUTGUARD_H

#include <iostream>
#include <streambuf>

namespace oravo::tools {

/// Keeps what is printed to std::cout away from standard output for as long as it lives: the library reports
/// the timing of every run there.
class StandardOutputGuard {
  public:
    explicit StandardOutputGuard(bool active) : before_(active ? std::cout.rdbuf(&discard_) : nullptr) {}
    StandardOutputGuard(const StandardOutputGuard&) = delete;
    StandardOutputGuard& operator=(const StandardOutputGuard&) = delete;
    ~StandardOutputGuard() {
        if (before_ != nullptr) std::cout.rdbuf(before_);
    }

  private:
    struct Discard : std::streambuf {
        int_type overflow(int_type c) override { return traits_type::not_eof(c); }
        std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
    };

    Discard discard_;
    std::streambuf* before_;
};

}  // namespace oravo::tools

#endif
