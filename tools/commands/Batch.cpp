#include "tools/commands/Batch.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <opencv2/core.hpp>
#include <optional>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/Outcome.h"
#include "tools/base/Progress.h"
#include "tools/commands/Resume.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

/// What a process ends with, beside the program's exit codes, that left finished results as they are.
constexpr int kLeftAlone = 64;

struct Job {
    std::string name;
    EnhanceCommand command;
};

/// The last part of a path, without trailing slashes and without its extension.
std::string nameOf(const std::string& input) {
    std::error_code ignored;
    const fs::path path = fs::path(input).lexically_normal();
    const fs::path last = path.has_filename() ? path.filename() : path.parent_path().filename();
    return (fs::is_directory(input, ignored) ? last : last.stem()).string();
}

/// The file of one recording.
std::string fileOf(const char* option, const std::string& pattern, const std::string& recording) {
    if (pattern.find(kNameMark) == std::string::npos) {
        throw UserError(ExitCode::kUsage,
                        std::string(option) + " " + pattern +
                            ": with --jobs it has to hold {} for the name of the recording");
    }
    return filledIn(pattern, recording);
}

/// What the images are called.
std::string imagePattern(const std::string& output) {
    if (namesFolder(output)) return (fs::path(output) / (std::string(kNameMark) + ".tif")).string();
    if (isNamePattern(output)) return output;
    throw outputError(
        output + ": --jobs writes to a folder, existing or ending in /, or to files such as FOLDER/{}.png");
}

/// Each job checks its files against its own inputs; this checks them against the other recordings and jobs.
void refuseSharedFiles(std::vector<Job>& jobs, const std::vector<std::string>& inputs) {
    std::map<fs::path, const Job*> writers;
    for (Job& job : jobs) {
        const auto check = [&](const std::string& file) {
            const auto [first, isNew] = writers.emplace(settledPath(file), &job);
            if (!isNew && first->second != &job) {
                throw outputError(file + ": is named for two recordings, " + first->second->name + " and " +
                                  job.name);
            }
        };
        check(job.command.output);
        for (const auto& [option, file] : sideFiles(job.command)) {
            check(*file);
            for (const std::string& input : inputs) {
                if (isSameFile(input, *file)) throw outputError(*file + ": is one of the inputs");
                if (isFolderOf(*file, input))
                    throw outputError(*file + ": lies among the frames of " + input);
            }
        }
    }
}

std::vector<Job> jobsOf(const EnhanceCommand& command) {
    const fs::path pattern = imagePattern(command.output);
    std::map<std::string, std::string> inputs;
    std::vector<Job> jobs;
    for (const std::string& input : command.inputs) {
        Job job{nameOf(input), command};
        const auto [first, isNew] = inputs.emplace(job.name, input);
        job.command.inputs = {input};
        job.command.output = pattern.parent_path() / filledIn(pattern.filename(), job.name);
        if (!isNew) {
            throw UserError(ExitCode::kUsage, first->second + " and " + input + " would both become " +
                                                  fs::path(job.command.output).filename().string());
        }
        for (const auto& [option, file] : sideFiles(job.command)) *file = fileOf(option, *file, job.name);
        jobs.push_back(std::move(job));
    }
    refuseSharedFiles(jobs, command.inputs);
    return jobs;
}

/// The process of one recording. It ends with its parent, by the signal on which it tidies up.
[[noreturn]] void work(const Job& job, pid_t parent, int threads) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(static_cast<int>(ExitCode::kInternal));
    setMessagePrefix(job.name + ": ");
    cv::setNumThreads(threads);
    bool made = true;
    const ExitCode code = outcomeOf([&] { made = enhance(job.command); });
    std::cout.flush();
    ::_exit(made ? static_cast<int>(code) : kLeftAlone);
}

class Processes {
  public:
    /// Where the end of children is ignored, as this program may have inherited it, the system forgets them.
    Processes() { ::signal(SIGCHLD, SIG_DFL); }

    void start(const Job& job, int threads) {
        const pid_t parent = ::getpid();
        const pid_t child = ::fork();
        if (child < 0) {
            throw UserError(ExitCode::kInternal, std::string("no new process: ") + std::strerror(errno));
        }
        if (child == 0) work(job, parent, threads);
        names_[child] = job.name;
    }

    std::size_t running() const { return names_.size(); }

    /// Waits for one of them to end and returns its exit code, or none where it left finished results alone.
    std::optional<ExitCode> next() {
        int status = 0;
        // Whoever started this program may have left it children of their own.
        auto child = names_.end();
        while (child == names_.end()) child = names_.find(endedChild(status));
        const std::string name = child->second;
        names_.erase(child);
        if (WIFEXITED(status) && WEXITSTATUS(status) == kLeftAlone) return {};
        if (WIFEXITED(status)) return static_cast<ExitCode>(WEXITSTATUS(status));
        complain(name + ": " + ::strsignal(WTERMSIG(status)));
        return ExitCode::kInternal;
    }

  private:
    static pid_t endedChild(int& status) {
        pid_t child = 0;
        do {
            child = ::waitpid(-1, &status, 0);
        } while (child < 0 && errno == EINTR);
        if (child >= 0) return child;
        throw UserError(ExitCode::kInternal,
                        std::string("processes cannot be waited for: ") + std::strerror(errno));
    }

    std::map<pid_t, std::string> names_;
};

/// How the recordings ended.
class Tally {
  public:
    void count(std::optional<ExitCode> code) {
        if (!code) {
            ++left_;
        } else if (*code == ExitCode::kDoubtful) {
            ++doubtful_;
        } else if (*code != ExitCode::kSuccess) {
            ++failed_;
            worst_ = std::max(worst_, *code);
        }
    }

    /// Throws the UserError that the batch ends with, should there be one.
    void conclude(const std::string& folder, std::size_t all) const {
        if (failed_ > 0) throw UserError(worst_, format("%zu of %zu recordings failed", failed_, all));
        note(format("%s: %zu recordings", folder.c_str(), all) +
             (left_ == 0 ? "" : format(", %zu of them finished before", left_)));
        if (doubtful_ > 0) {
            throw UserError(ExitCode::kDoubtful,
                            format("%zu of %zu recordings gave an image that is not known to be better than "
                                   "bicubic enlargement",
                                   doubtful_, all));
        }
    }

  private:
    std::size_t failed_ = 0, doubtful_ = 0, left_ = 0;
    ExitCode worst_ = ExitCode::kSuccess;
};

}  // namespace

void enhanceBatch(const EnhanceCommand& command) {
    std::vector<Job> jobs = jobsOf(command);
    const std::string folder = namesFolder(command.output) ? command.output : folderOf(command.output);
    TargetFolder target(folder);
    target.reserve();
    const auto atOnce = static_cast<std::size_t>(command.jobs);
    const int threads = std::max(1, cv::getNumberOfCPUs() / command.jobs);
    for (Job& job : jobs) {
        if (job.command.parameters.threads == 0) job.command.parameters.threads = threads;
    }
    Processes processes;
    Progress progress("recording", jobs.size());
    std::size_t started = 0;
    Tally tally;
    while (started < jobs.size() || processes.running() > 0) {
        if (started < jobs.size() && processes.running() < atOnce) {
            processes.start(jobs[started++], threads);
            continue;
        }
        tally.count(processes.next());
        progress.done(started - processes.running());
    }
    tally.conclude(folder, jobs.size());
}

}  // namespace oravo::tools
