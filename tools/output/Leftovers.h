#ifndef ORAVO_TOOLS_OUTPUT_LEFTOVERS_H
#define ORAVO_TOOLS_OUTPUT_LEFTOVERS_H

#include <atomic>
#include <string>

namespace oravo::tools {

/// A file or an empty folder that is removed should a signal end the process while this object lives; see
/// endCleanlyOnSignals().
class Leftover {
  public:
    explicit Leftover(std::string path);
    ~Leftover();
    Leftover(const Leftover&) = delete;
    Leftover& operator=(const Leftover&) = delete;

    const std::string& path() const { return path_; }

  private:
    std::string path_;
    std::atomic<const char*>& known_;  // to the signal handler: the path, or null
};

/// For as long as it lives, signals that would end the process wait. One at a time.
class Uninterrupted {
  public:
    Uninterrupted();
    ~Uninterrupted();
    /// How many signals wait.
    int signals() const;
    Uninterrupted(const Uninterrupted&) = delete;
    Uninterrupted& operator=(const Uninterrupted&) = delete;
};

/// From now on what ends a process from outside removes all leftovers first: an interrupt, a hang-up, a request
/// to terminate, a reader that has closed its pipe, a limit of time. A limit of file size becomes a failure to write.
void endCleanlyOnSignals();

}  // namespace oravo::tools

#endif
