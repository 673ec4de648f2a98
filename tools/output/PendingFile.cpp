#include "tools/output/PendingFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <set>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t kForNobodyElse = S_IRUSR | S_IWUSR;

/// What a target is before it is replaced, by a second name.
class Former {
  public:
    explicit Former(const std::string& target) : name_(target, kForNobodyElse) {
        ::unlink(name_.path().c_str());
        if (::link(target.c_str(), name_.path().c_str()) != 0) state_ = errno == ENOENT ? kAbsent : kUnknown;
    }
    void restore() noexcept {
        if (state_ == kPresent) std::rename(name_.path().c_str(), name_.target().c_str());
        if (state_ == kAbsent) ::unlink(name_.target().c_str());
    }

  private:
    enum { kPresent, kAbsent, kUnknown } state_ = kPresent;
    PendingFile name_;
};

/// 0, or why the content may not have reached the disk. Some file systems have no such thing as flushing.
int flushed(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return errno;
    const int reason = ::fsync(file) == 0 ? 0 : errno;
    ::close(file);
    return reason == EINVAL || reason == ENOSYS || reason == ENOTSUP ? 0 : reason;
}

}  // namespace

PendingFile::PendingFile(const std::string& target) : target_(target) {
    struct stat former {};
    if (::stat(target.c_str(), &former) != 0 || !S_ISREG(former.st_mode)) {
        ::close(open(0666));
        return;
    }
    const int file = open(kForNobodyElse);
    takeOver(file, former);
    ::close(file);
}

PendingFile::PendingFile(const std::string& target, mode_t permissions) : target_(target) {
    ::close(open(permissions));
}

int PendingFile::open(mode_t permissions) {
    static std::atomic<unsigned> serial{0};
    int file = -1;
    do {
        const std::string name =
            format(".oravo-superres-%ld-%u.part", static_cast<long>(::getpid()), serial++);
        pending_.reset();
        pending_ = std::make_unique<Leftover>((fs::path(target_).parent_path() / name).string());
        // Never through a link or over a file that lies there already, which may be another user's trap.
        file = ::open(path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
    } while (file < 0 && errno == EEXIST);
    if (file < 0) {
        const int reason = errno;
        pending_.reset();
        fail(reason);
    }
    return file;
}

void PendingFile::takeOver(int file, const struct stat& former) {
    const bool keepsGroup = ::fchown(file, former.st_uid, former.st_gid) == 0 ||
                            ::fchown(file, static_cast<uid_t>(-1), former.st_gid) == 0;
    const mode_t permissions = former.st_mode & (keepsGroup ? kPermissions : kPermissions & ~S_IRWXG);
    ::fchmod(file, permissions | kForNobodyElse);
    if ((permissions & kForNobodyElse) != kForNobodyElse) permissions_ = permissions;
}

void PendingFile::fail(int reason) const {
    throw outputError(target_ + ": cannot be written: " + std::strerror(reason));
}

PendingFile::~PendingFile() {
    if (!committed_ && pending_) ::unlink(path().c_str());
}

void PendingFile::flush() const {
    const int reason = flushed(path());
    if (reason != 0) fail(reason);
}

void PendingFile::commit() {
    if (permissions_) ::chmod(path().c_str(), *permissions_);
    if (std::rename(path().c_str(), target_.c_str()) != 0) fail(errno);
    committed_ = true;
}

void commit(PendingFiles& files) {
    std::set<std::string> folders;
    for (const PendingFile& file : files) {
        file.flush();
        folders.insert(folderOf(file.target()));
    }
    {
        const Uninterrupted whole;
        std::deque<Former> before;
        try {
            for (PendingFile& file : files) {
                before.emplace_back(file.target());
                file.commit();
            }
        } catch (const UserError&) {
            for (Former& former : before) former.restore();
            throw;
        }
    }
    for (const std::string& folder : folders)
        flushed(folder);  // the new names; the files are there in any case
}

}  // namespace oravo::tools
