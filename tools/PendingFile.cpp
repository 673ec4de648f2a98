#include "tools/PendingFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "tools/Messages.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

/// A list that only grows, so that a signal handler can walk along it at any time.
struct Place {
    std::atomic<const char*> path{nullptr};
    Place* next = nullptr;
};
std::atomic<Place*> places{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free && std::atomic<Place*>::is_always_lock_free,
              "are read in a signal handler");

std::atomic<const char*>& freePlace() {
    for (Place* place = places; place != nullptr; place = place->next) {
        if (place->path == nullptr) return place->path;
    }
    auto* const place = new Place;  // for good
    place->next = places;
    places = place;
    return place->path;
}

extern "C" void removeAndDie(int signal) {
    for (const Place* place = places; place != nullptr; place = place->next) {
        const char* path = place->path;
        if (path != nullptr) ::unlink(path);
    }
    ::raise(signal);  // the handler was taken out, so this ends the process once the handler returns
}

/// What a target is before it is replaced, by a second name.
class Former {
  public:
    explicit Former(const std::string& target) : name_(target) {
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

}  // namespace

PendingFile::PendingFile(const std::string& target, mode_t permissions)
    : target_(target), known_(freePlace()) {
    static std::atomic<unsigned> serial{0};
    int file = -1;
    do {
        known_ = nullptr;
        const std::string name =
            format(".oravo-superres-%ld-%u.part", static_cast<long>(::getpid()), serial++);
        pending_ = (fs::path(target).parent_path() / name).string();
        known_ = pending_.c_str();
        // Never through a link or over a file that lies there already, which may be another user's trap.
        file = ::open(pending_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
    } while (file < 0 && errno == EEXIST);
    const int reason = errno;
    if (file >= 0) {
        ::close(file);
        return;
    }
    known_ = nullptr;
    throw outputError(target_ + ": cannot be written: " + std::strerror(reason));
}

PendingFile::~PendingFile() {
    std::error_code ignored;
    if (!committed_) fs::remove(pending_, ignored);
    known_ = nullptr;
}

void PendingFile::commit() {
    std::error_code failed;
    fs::rename(pending_, target_, failed);
    if (failed) throw outputError(target_ + ": cannot be written: " + failed.message());
    committed_ = true;
}

void commit(PendingFiles& files) {
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

void endCleanlyOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeAndDie;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU}) {
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr);  // nohup stays in force
    }
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGXFSZ, &action, nullptr);
}

}  // namespace oravo::tools
