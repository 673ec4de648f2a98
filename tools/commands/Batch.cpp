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

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/Outcome.h"
#include "tools/base/Progress.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

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

/// The names of the files beside the image, and the options that give them.
std::vector<std::pair<const char*, std::string*>> otherOutputs(EnhanceCommand& command) {
    ResultOptions& r = command.results;
    std::vector<std::pair<const char*, std::string*>> all{{"--shifts", &command.shiftsFile},
                                                          {"--preview", &r.preview}};
    for (std::string& coverage : r.coverages) all.emplace_back("--coverage", &coverage);
    for (std::string& noiseMap : r.noiseMaps) all.emplace_back("--noise-map", &noiseMap);
    for (std::string& report : r.reports) all.emplace_back("--report", &report);
    all.erase(std::remove_if(all.begin(), all.end(), [](const auto& o) { return o.second->empty(); }),
              all.end());
    return all;
}

/// The file of one recording.
std::string filledIn(const char* option, std::string pattern, const std::string& recording) {
    const std::string mark = "{}";
    std::size_t at = pattern.find(mark);
    if (at == std::string::npos) {
        throw UserError(ExitCode::kUsage,
                        std::string(option) + " " + pattern +
                            ": with --jobs it has to hold {} for the name of the recording");
    }
    for (; at != std::string::npos; at = pattern.find(mark, at + recording.size())) {
        pattern.replace(at, mark.size(), recording);
    }
    return pattern;
}

/// Each job looks after its own files; this is about those of others.
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
        for (const auto& [option, file] : otherOutputs(job.command)) {
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
    if (!namesFolder(command.output)) {
        throw outputError(command.output + ": --jobs writes to a folder, existing or ending in /");
    }
    std::map<std::string, std::string> inputs;
    std::vector<Job> jobs;
    for (const std::string& input : command.inputs) {
        Job job{nameOf(input), command};
        const auto [first, isNew] = inputs.emplace(job.name, input);
        if (!isNew) {
            throw UserError(ExitCode::kUsage,
                            first->second + " and " + input + " would both become " + job.name + ".tif");
        }
        job.command.inputs = {input};
        job.command.output = (fs::path(command.output) / (job.name + ".tif")).string();
        for (const auto& [option, file] : otherOutputs(job.command))
            *file = filledIn(option, *file, job.name);
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
    const ExitCode code = outcomeOf([&] { enhance(job.command); });
    std::cout.flush();
    ::_exit(static_cast<int>(code));
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

    /// Waits for one of them to end and returns its exit code.
    ExitCode next() {
        int status = 0;
        // Whoever started this program may have left it children of their own.
        auto child = names_.end();
        while (child == names_.end()) child = names_.find(endedChild(status));
        const std::string name = child->second;
        names_.erase(child);
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

}  // namespace

void enhanceBatch(const EnhanceCommand& command) {
    const std::vector<Job> jobs = jobsOf(command);
    const TargetFolder target(command.output);
    const auto atOnce = static_cast<std::size_t>(command.jobs);
    const int threads = std::max(1, cv::getNumberOfCPUs() / command.jobs);
    Processes processes;
    Progress progress("recording", jobs.size());
    std::size_t started = 0, failed = 0, doubtful = 0;
    ExitCode worst = ExitCode::kSuccess;
    while (started < jobs.size() || processes.running() > 0) {
        if (started < jobs.size() && processes.running() < atOnce) {
            processes.start(jobs[started++], threads);
            continue;
        }
        const ExitCode code = processes.next();
        if (code != ExitCode::kDoubtful) worst = std::max(worst, code);
        failed += code == ExitCode::kSuccess || code == ExitCode::kDoubtful ? 0 : 1;
        doubtful += code == ExitCode::kDoubtful ? 1 : 0;
        progress.done(started - processes.running());
    }
    if (failed > 0) throw UserError(worst, format("%zu of %zu recordings failed", failed, jobs.size()));
    note(format("%s: %zu recordings", command.output.c_str(), jobs.size()));
    if (doubtful > 0) {
        throw UserError(
            ExitCode::kDoubtful,
            format("%zu of %zu recordings gave an image that is not known to be better than bicubic "
                   "enlargement",
                   doubtful, jobs.size()));
    }
}

}  // namespace oravo::tools
