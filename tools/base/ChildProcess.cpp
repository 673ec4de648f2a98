#include "tools/base/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <sstream>
#include <utility>

#include "tools/base/Descriptor.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::size_t kMostErrors = 4096;  // bytes
constexpr int kSignalled = 128;

/// Two ends, closed unless they are taken.
class Pair {
  public:
    /// @param sockets  writing to a pipe that nobody reads would end this process; sockets can be told not to
    Pair(const std::string& program, bool sockets) {
        const int made = sockets ? ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data())
                                 : ::pipe2(ends_.data(), O_CLOEXEC);
        if (made != 0) {
            throw UserError(ExitCode::kInternal,
                            program + ": no pipe to the program: " + std::strerror(errno));
        }
    }
    ~Pair() {
        for (const int end : ends_) {
            if (end >= 0) ::close(end);
        }
    }
    Pair(const Pair&) = delete;
    Pair& operator=(const Pair&) = delete;

    int readingEnd() const { return ends_[0]; }
    int writingEnd() const { return ends_[1]; }
    int take(int end) {
        auto& taken = ends_[end == ends_[0] ? 0 : 1];
        return std::exchange(taken, -1);
    }

  private:
    std::array<int, 2> ends_{-1, -1};
};

/// What becomes of the streams of the new process.
struct Streams {
    int input, output, errors;
    int failure;  ///< gets the errno of what keeps the program from running
};

/// Between fork and exec, in which only few functions may be called: another thread may hold any lock.
[[noreturn]] void becomeProgram(char* const* arguments, const Streams& streams, pid_t parent) {
    constexpr unsigned kFirst = 3, kLast = ~0u;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const bool ready = ::getppid() == parent && ::dup2(streams.input, STDIN_FILENO) >= 0 &&
                       ::dup2(streams.output, STDOUT_FILENO) >= 0 &&
                       ::dup2(streams.errors, STDERR_FILENO) >= 0;
    if (ready) {
        // Files that libraries have opened are not the program's; where the kernel does not know this, it gets them.
        ::close_range(kFirst, kLast, CLOSE_RANGE_CLOEXEC);
        sigset_t none;
        ::sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::signal(SIGPIPE, SIG_DFL);
        ::execvp(arguments[0], arguments);
    }
    const int reason = errno;
    if (::write(streams.failure, &reason, sizeof reason) < 0) ::_exit(kSignalled - 1);
    ::_exit(kSignalled - 1);
}

/// 0 where the program runs, else the errno that it reported.
int failureOf(Pair& failure) {
    ::close(failure.take(failure.writingEnd()));
    int reason = 0;
    ssize_t got = 0;
    do {
        got = ::read(failure.readingEnd(), &reason, sizeof reason);
    } while (got < 0 && errno == EINTR);
    return got == sizeof reason ? reason : 0;
}

}  // namespace

bool isInstalled(const std::string& program) {
    const char* const path = std::getenv("PATH");
    std::istringstream folders(path == nullptr ? "/usr/bin:/bin" : path);
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access(((folder.empty() ? "." : folder) + "/" + program).c_str(), X_OK) == 0) return true;
    }
    return false;
}

ChildProcess::ChildProcess(const std::vector<std::string>& command, Input input) : name_(command.front()) {
    // Where the end of children is ignored, as this program may have inherited it, their exit codes are lost.
    ::signal(SIGCHLD, SIG_DFL);
    start(command, input == Input::open);
}

ChildProcess::~ChildProcess() {
    closeAll();
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    wait();
}

void ChildProcess::start(const std::vector<std::string>& command, bool withInput) {
    std::vector<char*> arguments;
    for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    Pair input(name_, true), output(name_, false), errors(name_, false), failure(name_, false);
    if (!withInput) ::close(input.take(input.writingEnd()));
    const Streams streams{input.readingEnd(), output.writingEnd(), errors.writingEnd(), failure.writingEnd()};
    const pid_t parent = ::getpid();
    process_ = ::fork();
    if (process_ == 0) becomeProgram(arguments.data(), streams, parent);
    const int reason = process_ < 0 ? errno : failureOf(failure);
    if (reason != 0) {
        if (process_ > 0) wait();
        throw UserError(ExitCode::kInternal, name_ + ": cannot be run: " + std::strerror(reason));
    }
    if (withInput) input_ = input.take(input.writingEnd());
    output_ = output.take(output.readingEnd());
    errors_ = errors.take(errors.readingEnd());
    ::fcntl(errors_, F_SETFL, O_NONBLOCK);
}

void ChildProcess::closeAll() {
    for (int* end : {&input_, &output_, &errors_}) {
        if (*end >= 0) ::close(*end);
        *end = -1;
    }
}

bool ChildProcess::write(std::string_view text) {
    while (!text.empty()) {
        const ssize_t sent = ::send(input_, text.data(), text.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            text.remove_prefix(static_cast<std::size_t>(sent));
        } else if (!mayTryAgain(input_, POLLOUT)) {
            return false;
        }
    }
    return true;
}

std::size_t ChildProcess::readSome(char* bytes, std::size_t most) {
    while (output_ >= 0) {
        // Errors are read, too: a program that nobody listens to would stop at a full pipe. Closed ones are left out by poll.
        std::array<pollfd, 2> wanted{pollfd{output_, POLLIN, 0}, pollfd{errors_, POLLIN, 0}};
        if (::poll(wanted.data(), wanted.size(), -1) < 0 && errno != EINTR) break;
        if (wanted[1].revents != 0) drainErrors();
        if (wanted[0].revents == 0) continue;
        const ssize_t got = ::read(output_, bytes, most);
        if (got >= 0) return static_cast<std::size_t>(got);
        if (errno != EINTR) break;
    }
    return 0;
}

std::size_t ChildProcess::read(char* bytes, std::size_t count) {
    std::size_t done = 0;
    while (done < count) {
        const std::size_t got = readSome(bytes + done, count - done);
        if (got == 0) break;
        done += got;
    }
    return done;
}

void ChildProcess::drainErrors() {
    std::array<char, kMostErrors> text;
    while (errors_ >= 0) {
        const ssize_t got = ::read(errors_, text.data(), text.size());
        if (got > 0) {
            const std::size_t room = kMostErrors - errorText_.size();
            errorText_.append(text.data(), std::min(room, static_cast<std::size_t>(got)));
        } else if (got == 0) {
            ::close(errors_);
            errors_ = -1;
        } else if (errno != EINTR) {
            return;
        }
    }
}

std::string ChildProcess::takeErrors() {
    drainErrors();
    return std::exchange(errorText_, {});
}

int ChildProcess::wait() {
    if (process_ < 0) return 0;
    drainErrors();
    if (output_ >= 0) ::close(std::exchange(output_, -1));
    int status = 0;
    pid_t ended = 0;
    do {
        pollfd wanted{errors_, POLLIN, 0};
        while (errors_ >= 0 && ::poll(&wanted, 1, -1) >= 0) {
            drainErrors();
            wanted.fd = errors_;
        }
        ended = ::waitpid(process_, &status, 0);
    } while (ended < 0 && errno == EINTR);
    process_ = -1;
    return WIFSIGNALED(status) ? kSignalled + WTERMSIG(status) : WEXITSTATUS(status);
}

std::string firstComplaint(const std::string& errors) {
    static const std::regex address("\\[[^\\]]{0,60} @ 0x[0-9a-f]{1,16}\\] *");
    std::istringstream lines(errors);
    for (std::string line; std::getline(lines, line);) {
        line = std::regex_replace(line.substr(0, kMostErrors), address, "");
        if (line.find_first_not_of(" \t\r") != std::string::npos) return line;
    }
    return {};
}

}  // namespace oravo::tools
