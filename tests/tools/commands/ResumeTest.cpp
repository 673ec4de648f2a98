#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "tests/tools/Program.h"

namespace oravo::tools {
namespace {

/// Two recordings that are enhanced again and again into one folder.
class Resume : public Program {
  protected:
    Resume() {
        for (const char* seed : {"1", "2"}) {
            EXPECT_EQ(
                run(std::string("simulate --width 32 --height 24 -o r") + seed + " --seed " + seed).code, 0);
        }
    }

    Outcome again(const std::string& options = "") const {
        return run("enhance r1 r2 -o out/ --jobs 2 --resume --pipeline float --shifts 'out/{}.csv' " +
                   options);
    }
    /// How many of the recordings were left as they are.
    std::size_t left(const Outcome& outcome) const {
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        std::size_t count = 0;
        const std::string line = ": finished before and unchanged since";
        for (std::size_t at = 0; (at = outcome.err.find(line, at)) != std::string::npos; ++at) ++count;
        const std::string total = std::to_string(count) + " of them finished before\n";
        EXPECT_EQ(says(outcome.err, total), count != 0) << outcome.err;
        return count;
    }
    void shell(const std::string& command) const {
        ASSERT_EQ(std::system(("cd " + folder_.string() + " && " + command).c_str()), 0) << command;
    }
};

TEST_F(Resume, GoesOnWithOneRecordingAsWithMany) {
    ASSERT_EQ(left(again()), 0u);
    shell(
        "mv r1/frame_000.tif swap && mv r1/frame_004.tif r1/frame_000.tif && mv swap r1/frame_004.tif && cp "
        "-p out/r2.tif keep");
    EXPECT_EQ(left(again()), 1u);
    shell("[ ! out/r2.tif -nt keep ]");
    const std::string one = "enhance r1 -o out/r1.tif --shifts out/r1.csv --pipeline float --resume";
    const Outcome same = run(one);
    EXPECT_EQ(same.code, 0);
    EXPECT_EQ(same.err, "out/r1.tif: finished before and unchanged since; left as it is\n");
    // A doubt lasts as long as its image.
    shell("sed -i 's/\"exit_code\":0/\"exit_code\":6/' out/r1.tif.receipt");
    const Outcome doubtful = run(one);
    EXPECT_EQ(doubtful.code, 6);
    EXPECT_TRUE(says(doubtful.err, "left as it is. It is not known to be better than bicubic"))
        << doubtful.err;
    EXPECT_EQ(again().code, 6);
}

TEST_F(Resume, RefusesWhatCannotBeResumed) {
    const std::pair<const char*, const char*> kRefused[] = {
        {"enhance r1 -o - --resume", "not standard output"},
        {"enhance r1 -o new/ --every --resume", "not the folder new/"},
        {"enhance r1 -o new.tif --every --preview new/ --resume", "not the folder new/"},
    };
    for (const auto& [arguments, reason] : kRefused) {
        const Outcome refused = run(arguments);
        EXPECT_EQ(refused.code, 1) << arguments;
        EXPECT_TRUE(
            says(refused.err, std::string("--resume: needs a file for the images of a recording, ") + reason))
            << refused.err;
    }
    std::filesystem::create_directory(path("out"));
    const int folder = ::open(path("out").c_str(), O_RDONLY);
    ASSERT_EQ(::flock(folder, LOCK_EX), 0);
    const Outcome second = again();
    ::close(folder);
    EXPECT_EQ(second.code, 3);
    EXPECT_TRUE(says(second.err, "out/: another run is writing there; results of two runs would mix\n"))
        << second.err;
}

}  // namespace
}  // namespace oravo::tools
