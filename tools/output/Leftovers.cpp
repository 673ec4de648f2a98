#include "tools/output/Leftovers.h"

#include <unistd.h>

#include <csignal>
#include <utility>

namespace oravo::tools {
namespace {

/// A list that only grows, so that a signal handler can walk along it at any time.
struct Place {
    std::atomic<const char*> path{nullptr};
    Place* next = nullptr;
};
std::atomic<Place*> places{nullptr};

enum State { kWorking, kUninterrupted, kEnding };
std::atomic<int> state{kWorking};
std::atomic<int> waiting{0};  // the signal that came meanwhile
std::atomic<int> count{0};    // of such signals
static_assert(std::atomic<const char*>::is_always_lock_free && std::atomic<Place*>::is_always_lock_free &&
                  std::atomic<int>::is_always_lock_free,
              "are used in a signal handler");

std::atomic<const char*>& freePlace() {
    for (Place* place = places; place != nullptr; place = place->next) {
        if (place->path == nullptr) return place->path;
    }
    auto* const place = new Place;  // for good
    place->next = places;
    places = place;
    return place->path;
}

/// Removes what there is, again and again, since a folder has to be empty.
void removeAll() {
    bool removed = true;
    while (removed) {
        removed = false;
        for (const Place* place = places; place != nullptr; place = place->next) {
            const char* path = place->path;
            if (path != nullptr) removed |= ::unlink(path) == 0 || ::rmdir(path) == 0;
        }
    }
}

/// Any thread may be the one that runs this. Where another one must not be interrupted, that one raises the signal
/// again.
extern "C" void removeAndDie(int signal) {
    waiting = signal;
    ++count;
    int expected = kWorking;
    if (!state.compare_exchange_strong(expected, kEnding)) return;
    removeAll();
    ::signal(signal, SIG_DFL);
    ::raise(signal);  // ends the process once the handler returns
}

}  // namespace

Leftover::Leftover(std::string path) : path_(std::move(path)), known_(freePlace()) {
    known_ = path_.c_str();
}

Leftover::~Leftover() {
    known_ = nullptr;
}

Uninterrupted::Uninterrupted() {
    int expected = kWorking;
    while (!state.compare_exchange_strong(expected, kUninterrupted)) {
        ::pause();  // another thread is ending the process
        expected = kWorking;
    }
    count = 0;
}

Uninterrupted::~Uninterrupted() {
    state = kWorking;
    const int signal = waiting.exchange(0);
    if (signal != 0) ::raise(signal);
}

int Uninterrupted::signals() const {
    return count;
}

void endCleanlyOnSignals() {
    struct sigaction action {};
    action.sa_handler = removeAndDie;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE, SIGXCPU}) {
        struct sigaction before {};
        ::sigaction(signal, nullptr, &before);
        if (before.sa_handler != SIG_IGN) ::sigaction(signal, &action, nullptr);  // nohup stays in force
    }
    action.sa_handler = SIG_IGN;
    ::sigaction(SIGXFSZ, &action, nullptr);
}

}  // namespace oravo::tools
