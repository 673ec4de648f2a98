#ifndef ORAVO_TOOLS_PENDINGFILE_H
#define ORAVO_TOOLS_PENDINGFILE_H

#include <string>

namespace oravo::tools {

/// A hidden file in the folder of its target, which it replaces when committed; else it is removed, by
/// removePendingFileOnSignals() too. One at a time is known to the signal handler.
class PendingFile {
  public:
    explicit PendingFile(const std::string& target);
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
    bool committed_ = false;
};

/// From now on an interrupt, a hang-up or a request to terminate removes the pending file before the process
/// dies of it.
void removePendingFileOnSignals();

}  // namespace oravo::tools

#endif
