#ifndef ORAVO_TOOLS_OUTPUT_PENDINGFILE_H
#define ORAVO_TOOLS_OUTPUT_PENDINGFILE_H

#include <sys/stat.h>

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "tools/output/Leftovers.h"

namespace oravo::tools {

/// A hidden file in the folder of its target, empty at first, which it replaces when committed; else it is
/// removed, by endCleanlyOnSignals() too.
class PendingFile {
  public:
    /// A replacement has the permissions of the file before it, and its owner and group as far as the user may give
    /// them; a group that it cannot keep gets nothing. A new file has the user's default permissions.
    /// Throws UserError, naming the target, when there can be no such file.
    explicit PendingFile(const std::string& target);
    /// @param permissions  whatever the target's are; less the user's mask
    PendingFile(const std::string& target, mode_t permissions);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& path() const { return pending_->path(); }
    const std::string& target() const { return target_; }

    /// Waits until the content is on the disk, so that no crash leaves an empty file in place of the target.
    /// Throws UserError when it cannot be written there.
    void flush() const;
    /// Throws UserError when the target cannot be replaced.
    void commit();

  private:
    /// Returns a descriptor of the new file.
    int open(mode_t permissions);
    void takeOver(int file, const struct stat& former);
    [[noreturn]] void fail(int reason) const;

    std::string target_;
    std::unique_ptr<Leftover> pending_;
    std::optional<mode_t> permissions_;  // to be set in the end, since they forbid to write
    bool committed_ = false;
};

/// Files that are to appear together.
using PendingFiles = std::deque<PendingFile>;

/// Commits all of them, flushed; a signal that ends the process waits for the last one. Where one target cannot be
/// replaced, those before it become again what they were (as far as the file system has hard links), and UserError is
/// thrown.
void commit(PendingFiles& files);

}  // namespace oravo::tools

#endif
