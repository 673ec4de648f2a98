#include "tools/PendingFile.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>

#include "tools/Messages.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

std::atomic<const char*> openFile{nullptr};
static_assert(std::atomic<const char*>::is_always_lock_free, "is read in a signal handler");

extern "C" void removeAndDie(int signal) {
    const char* path = openFile;
    if (path != nullptr) ::unlink(path);
    ::raise(signal);  // the handler was taken out, so this ends the process once the handler returns
}

}  // namespace

PendingFile::PendingFile(const std::string& target) : target_(target) {
    static std::atomic<unsigned> serial{0};
    const std::string name = format(".oravo-superres-%ld-%u.part", static_cast<long>(::getpid()), serial++);
    pending_ = (fs::path(target).parent_path() / name).string();
    openFile = pending_.c_str();
}

PendingFile::~PendingFile() {
    std::error_code ignored;
    if (!committed_) fs::remove(pending_, ignored);
    openFile = nullptr;
}

void PendingFile::commit() {
    std::error_code failed;
    fs::rename(pending_, target_, failed);
    if (failed) throw outputError(target_ + ": cannot be written: " + failed.message());
    committed_ = true;
}

void removePendingFileOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeAndDie;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr);  // nohup stays in force
    }
}

}  // namespace oravo::tools
