#include <fcntl.h>
#include <grp.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <fstream>
#include <functional>

#include "tests/tools/Program.h"
#include "tools/output/ImageWriter.h"

namespace {

/// Takes the place of the system's, which tests cannot observe: gets the file's path and returns an error or 0.
std::function<int(const std::string& path)> onFlush;

}  // namespace

extern "C" int fsync(int file) {
    if (!onFlush) return 0;
    std::error_code ignored;
    errno = onFlush(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), ignored).string());
    return errno == 0 ? 0 : -1;
}

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

class Outputs : public Program {
  protected:
    ~Outputs() override { onFlush = nullptr; }

    mode_t modeOf(const std::string& name) const {
        struct stat about {};
        EXPECT_EQ(::stat(path(name).c_str(), &about), 0) << name;
        return about.st_mode & 07777;
    }
    /// Runs the action in a process of its own, which signals end as they end the program. Returns its status.
    static int inProcess(const std::function<void()>& action,
                         const std::function<void(pid_t)>& meanwhile = {}) {
        const pid_t child = ::fork();
        if (child == 0) {
            endCleanlyOnSignals();
            try {
                action();
            } catch (const UserError&) {
                ::_exit(1);
            }
            ::_exit(0);
        }
        if (meanwhile) meanwhile(child);
        int status = 0;
        ::waitpid(child, &status, 0);
        return status;
    }
};

TEST_F(Outputs, ContentIsOnTheDiskBeforeItTakesItsName) {
    for (const char* name : {"a.txt", "b.txt"}) writeText(path(name), "before");
    for (const int error : {0, EIO, ENOSPC, EINVAL}) {
        const bool fails = error == EIO || error == ENOSPC;
        PendingFiles files;
        for (const char* name : {"a.txt", "b.txt"})
            writeText(files, path(name), "after " + std::to_string(error));
        const std::string former = text(path("a.txt"));
        std::vector<std::string> flushed;
        onFlush = [&](const std::string& file) {
            flushed.push_back(file);
            EXPECT_EQ(text(path("a.txt")) == former, flushed.size() < 3);
            return file == files[1].path() ? error : 0;
        };
        const std::string message = complaint([&] { commit(files); }, ExitCode::kOutput);
        EXPECT_EQ(message, fails ? path("b.txt: cannot be written: ") + std::strerror(error) : "");
        ASSERT_EQ(flushed.size(), fails ? 2u : 3u);
        EXPECT_EQ(flushed[0], files[0].path());
        EXPECT_EQ(flushed.back(), fails ? files[1].path() : folder_.string());
        for (const char* name : {"a.txt", "b.txt"}) {
            EXPECT_EQ(text(path(name)), fails ? former : "after " + std::to_string(error));
        }
    }
}

TEST_F(Outputs, ReplacementsKeepPermissionsAndOwner) {
    const mode_t mask = ::umask(027);
    for (const mode_t mode : {0600u, 0644u, 0666u, 0755u, 0444u}) {
        writeText(path("a.txt"), "before");
        fs::permissions(path("a.txt"), static_cast<fs::perms>(mode));
        const bool mayGiveAway = ::chown(path("a.txt").c_str(), 1, 2) == 0;
        {
            PendingFiles files;
            writeText(files, path("a.txt"), "after");
            // Nobody may read a replacement who may not read the file itself.
            EXPECT_EQ(modeOf(fs::path(files[0].path()).filename()) & ~0200u & ~mode, 0u);
            commit(files);
        }
        EXPECT_EQ(modeOf("a.txt"), mode);
        EXPECT_EQ(text(path("a.txt")), "after");
        struct stat about {};
        ::stat(path("a.txt").c_str(), &about);
        const auto owner = std::pair(about.st_uid, about.st_gid);
        EXPECT_EQ(owner, mayGiveAway ? std::pair(1u, 2u) : std::pair(::getuid(), ::getgid()));
        // What is nobody else's stays so, whatever lies there.
        const PendingFile secret(path("a.txt"), 0600);
        EXPECT_EQ(modeOf(fs::path(secret.path()).filename()), 0600u);
    }
    writeText(path("new.txt"), "new");
    EXPECT_EQ(modeOf("new.txt"), 0640u);
    ::umask(mask);
}

TEST_F(Outputs, AGroupThatCannotBeKeptIsNotReplacedByAnother) {
    if (::geteuid() != 0) GTEST_SKIP() << "takes a file of another user's group";
    writeText(path("a.txt"), "before");
    ASSERT_EQ(::chown(path("a.txt").c_str(), 1, 2), 0);
    fs::permissions(path("a.txt"), static_cast<fs::perms>(0664));
    fs::permissions(folder_, fs::perms::all);
    const int status = inProcess([&] {
        constexpr uid_t kNobody = 65534;
        if (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0) ::_exit(9);
        writeText(path("a.txt"), "after");
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(text(path("a.txt")), "after");
    EXPECT_EQ(modeOf("a.txt"), 0604u);
}

/// Hidden names are predictable: another user may have laid a link there.
TEST_F(Outputs, NothingIsWrittenThroughALinkUnderAHiddenName) {
    writeText(path("victim"), "untouched");
    const std::string first = PendingFile(path("a.txt")).path();
    const std::size_t dash = first.rfind('-');
    const unsigned serial = static_cast<unsigned>(std::stoul(first.substr(dash + 1)));
    for (unsigned i = 1; i < 4; ++i) {
        fs::create_symlink(path("victim"), first.substr(0, dash + 1) + std::to_string(serial + i) + ".part");
    }
    writeText(path("a.txt"), "after");
    EXPECT_EQ(text(path("victim")), "untouched");
    EXPECT_EQ(text(path("a.txt")), "after");
    EXPECT_FALSE(fs::is_symlink(path("a.txt")));
}

/// The first new name is the sign to end the process: all others still follow, and nothing else stays.
TEST_F(Outputs, ASignalBetweenTheRenamesWaitsForTheLast) {
    constexpr int kFiles = 300;
    const auto name = [&](int i) { return path(std::to_string(i) + ".txt"); };
    for (int i = 0; i < kFiles; ++i) std::ofstream(name(i)) << "before";
    const int watch = ::inotify_init();
    ASSERT_GE(::inotify_add_watch(watch, folder_.c_str(), IN_MOVED_TO), 0);
    const auto replaceAll = [&] {
        PendingFiles files;
        for (int i = 0; i < kFiles; ++i) writeText(files, name(i), "after");
        commit(files);
    };
    const int status = inProcess(replaceAll, [&](pid_t child) {
        char event[4096];
        EXPECT_GT(::read(watch, event, sizeof event), 0);
        ::kill(child, SIGTERM);
    });
    ::close(watch);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
    int replaced = 0;
    for (int i = 0; i < kFiles; ++i) replaced += text(name(i)) == "after" ? 1 : 0;
    EXPECT_EQ(replaced, kFiles);
    EXPECT_EQ(entries(), static_cast<std::size_t>(kFiles));
}

TEST_F(Outputs, FoldersThatARunMadeForNothingGoAgain) {
    fs::create_directory(path("there"));
    writeText(path("file"), "x");
    for (const char* target : {"a", "a/b/c", "a/b/", "there/a/b", "there", "file/a"}) {
        complaint([&] { TargetFolder folder(path(target)); }, ExitCode::kOutput);
        EXPECT_EQ(entries(), 2u) << target;
        const int status = inProcess([&] {
            const TargetFolder folder(path(target));
            ::raise(SIGTERM);
        });
        EXPECT_EQ(WIFSIGNALED(status), std::string(target) != "file/a") << target;
        EXPECT_EQ(entries(), 2u) << target;
        EXPECT_TRUE(fs::is_empty(path("there"))) << target;
    }
    EXPECT_EQ(complaint([&] { TargetFolder folder(path("file/a/b")); }, ExitCode::kOutput),
              path("file/a/b: folder cannot be made: Not a directory"));
    EXPECT_EQ(run("simulate -o a/b/c --defects 900 --width 64 --height 48").code, 1);
    EXPECT_EQ(entries(), 2u);
    ASSERT_EQ(run("simulate -o a/b/c --width 64 --height 48").code, 0);
    EXPECT_EQ(
        run("enhance a/b/c -o a/d/e/ --every --pipeline float --tv-weight 1e38 --psf-sigma 1000 --crop 2x48")
            .code,
        2);
    EXPECT_FALSE(fs::exists(path("a/d")));
}

TEST_F(Outputs, TwoRunsDoNotMixTheirFramesInOneFolder) {
    ASSERT_EQ(run("simulate -o b --width 64 --height 48").code, 0);
    writeImage(path("m.png"), cv::Mat(8, 8, CV_16U, cv::Scalar(1000)));
    ASSERT_EQ(run("defects detect m.png -o m.csv").code, 0);
    const char* const commands[] = {"enhance b -o x --every", "simulate -o x --width 8 --height 8",
                                    "defects repair m.csv m.png m.png -o x/"};
    for (const char* command : commands) {
        {
            TargetFolder first(path("x"));
            first.reserve();
            const Outcome second = run(command);
            EXPECT_EQ(second.code, 3) << command;
            EXPECT_NE(second.err.find(": another run is writing there; results of two runs would mix\n"),
                      std::string::npos)
                << second.err;
            EXPECT_TRUE(fs::is_empty(path("x"))) << command;
            EXPECT_EQ(run("enhance --pipeline float b -o x/one.tif").code, 0);  // a single file is no matter
            fs::remove(path("x/one.tif"));
        }
        fs::create_directory(path("x"));
        EXPECT_EQ(run(command).code, 0) << command;
        fs::remove_all(path("x"));
    }
}

}  // namespace
}  // namespace oravo::tools
