#include <csignal>
#include <cstdlib>
#include <fstream>

#include "tests/tools/Program.h"
#include "tools/output/ImageFile.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

class Signals : public Program {
  protected:
    /// Writes a recording with this number of frames into one file.
    void record(const std::string& name, int frames) const {
        ASSERT_TRUE(std::filesystem::exists(path("b")) ||
                    run("simulate -o b --width 64 --height 48").code == 0);
        PendingFiles files;
        TiffPages pages(files, path(name), 0);
        for (int i = 0; i < frames; ++i) pages.add(image("b/frame_00" + std::to_string(i % 5) + ".tif"));
        pages.close();
        commit(files);
    }

    /// Starts the program, waits for this number of its hidden files in the folder, does what the script says, in which $p is
    /// the program's process, and returns the script's status.
    int during(const std::string& arguments, const std::string& folder, int hidden,
               const std::string& script) const {
        const std::string count = "$(ls -A " + folder + " 2>/dev/null | grep -c part$)";
        std::ofstream(path("script")) << std::string(ORAVO_SUPERRES) + " " + arguments + " 2>err & p=$!\n" +
                                             "for i in $(seq 1000); do [ " + count + " -ge " +
                                             std::to_string(hidden) + " ] && break; sleep 0.01; done\n" +
                                             "[ " + count + " -ge " + std::to_string(hidden) +
                                             " ] || exit 9\n" + script + "\n";
        const int status = std::system(("cd " + folder_.string() + " && bash script").c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

TEST_F(Signals, EndTheProgramWithoutATrace) {
    record("r.tif", 800);
    for (const int signal : {SIGTERM, SIGHUP, SIGPIPE, SIGXCPU}) {
        EXPECT_EQ(during("enhance r.tif -o o.tif --every --pipeline float", ".", 1,
                         "kill -" + std::to_string(signal) + " $p; wait $p"),
                  128 + signal);
        EXPECT_EQ(entries(), 4u) << signal;  // burst, recording, script, messages
    }
}

TEST_F(Signals, ThatAreIgnoredStayIgnored) {
    record("r.tif", 60);
    std::ofstream(path("nohup")) << "trap '' HUP\nexec bash script\n";
    ASSERT_EQ(during("enhance r.tif -o o.tif --every --pipeline float", ".", 1, "kill -HUP $p; wait $p"),
              128 + SIGHUP);
    const int status = std::system(("cd " + folder_.string() + " && bash nohup").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 0) << text(path("err"));
    EXPECT_EQ(FrameReader({path("o.tif")}).count(), 56u);
}

/// Whatever ends the parent, its children neither go on nor leave their files.
TEST_F(Signals, RecordingsOfABatchEndWithIt) {
    for (const char* name : {"r1.tif", "r2.tif"}) record(name, 800);
    for (const char* signal : {"KILL", "TERM"}) {
        const std::string gone = "! ls -A out 2>/dev/null | grep -q part$";
        const int status = during("enhance r1.tif r2.tif -o out/ --every --pipeline float --jobs 2", "out", 2,
                                  std::string("kill -") + signal + " $p; wait $p; for i in $(seq 1000); do " +
                                      gone + " && break; sleep 0.01; done; " + gone + " || exit 8");
        EXPECT_EQ(status, 0) << signal;
        EXPECT_FALSE(std::filesystem::exists(path("out"))) << signal;
        std::filesystem::remove_all(path("out"));
    }
}

}  // namespace
}  // namespace oravo::tools
