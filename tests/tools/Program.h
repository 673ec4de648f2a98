#ifndef ORAVO_TESTS_TOOLS_PROGRAM_H
#define ORAVO_TESTS_TOOLS_PROGRAM_H

#include <sys/wait.h>

#include <cstdlib>
#include <fstream>
#include <opencv2/core.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/tools/Scratch.h"
#include "tools/input/FrameReader.h"

namespace oravo::tools {

/// Runs the program itself.
class Program : public Scratch {
  protected:
    struct Outcome {
        int code;
        std::string out;
        std::string err;
    };

    /// Arguments that the program refuses, its exit code, and words of its message.
    struct Refusal {
        std::string arguments;
        int code;
        std::string says;
    };

    Outcome run(const std::string& arguments) const {
        const std::string base = folder_.string() + "-run";
        // Redirections come first, so that the arguments may hold others.
        const std::string line =
            "</dev/null >" + base + ".out 2>" + base + ".err " + ORAVO_SUPERRES + " " + arguments;
        const int status = std::system(("cd " + folder_.string() + " && " + line).c_str());
        Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, text(base + ".out"),
                        text(base + ".err")};
        std::filesystem::remove(base + ".out");
        std::filesystem::remove(base + ".err");
        return outcome;
    }

    /// @param command  that the arguments of each follow
    void expectRefusals(const std::vector<Refusal>& cases, const std::string& command = "") const {
        constexpr std::size_t kLongest = 1000;  // characters, so that no endless value is quoted
        for (const Refusal& c : cases) {
            const Outcome outcome = run(command + c.arguments);
            EXPECT_EQ(outcome.code, c.code) << c.arguments << '\n' << outcome.err;
            EXPECT_TRUE(says(outcome.err, c.says)) << c.arguments << '\n' << outcome.err;
            EXPECT_LT(outcome.err.size(), kLongest) << c.arguments;
            EXPECT_EQ(outcome.out, "") << c.arguments;
        }
    }

    static std::string text(const std::string& file) {
        std::stringstream all;
        all << std::ifstream(file).rdbuf();
        return all.str();
    }

    cv::Mat_<float> image(const std::string& name) const { return readSingleImage(path(name)); }
};

}  // namespace oravo::tools

#endif
