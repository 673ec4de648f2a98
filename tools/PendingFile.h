#ifndef ORAVO_TOOLS_PENDINGFILE_H
#define ORAVO_TOOLS_PENDINGFILE_H

#include <sys/types.h>

#include <atomic>
#include <deque>
#include <string>

namespace oravo::tools {

/// A hidden file in the folder of its target, empty at first, which it replaces when committed; else it is
/// removed, by endCleanlyOnSignals() too.
class PendingFile {
  public:
    /// @param permissions  less the user's mask
    /// Throws UserError, naming the target, when there can be no such file.
    explicit PendingFile(const std::string& target, mode_t permissions = 0666);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& path() const { return pending_; }
    const std::string& target() const { return target_; }
    /// Throws UserError when the target cannot be replaced.
    void commit();

  private:
    std::string target_;
    std::string pending_;
    std::atomic<const char*>& known_;  // to the signal handler: the path, or null
    bool committed_ = false;
};

/// Files that are to appear together.
using PendingFiles = std::deque<PendingFile>;

/// Commits all of them. Where one target cannot be replaced, those before it become again what they were (as far as
/// the file system has hard links), and UserError is thrown.
void commit(PendingFiles& files);

/// From now on what ends a process from outside removes all pending files first: an interrupt, a hang-up, a request
/// to terminate, a reader that has closed its pipe, a limit of time. A limit of file size becomes a failure to write.
void endCleanlyOnSignals();

}  // namespace oravo::tools

#endif
