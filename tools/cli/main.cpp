#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <iostream>
#include <opencv2/core/utils/logger.hpp>

#include "tools/base/Messages.h"
#include "tools/base/Outcome.h"
#include "tools/base/UserError.h"
#include "tools/cli/CommandOptions.h"
#include "tools/output/PendingFile.h"

namespace {

using namespace oravo::tools;

constexpr char kExitCodes[] =
    "Exit codes:\n"
    "  0  done\n"
    "  1  wrong command line\n"
    "  2  input missing, unreadable, too small, of mixed sizes, or too few frames\n"
    "  3  output cannot be written; what was there before is untouched (but for images that --every, "
    "simulate or\n"
    "     defects repair had put into a folder until then)\n"
    "  4  no enlarged image could be reconstructed; nothing was written\n"
    "  5  internal failure\n"
    "  6  done, but an image is not known to be better than a bicubic enlargement\n"
    "With --jobs, the highest code of all recordings that failed. What --every has no image for is reported "
    "in "
    "the last "
    "line.\n"
    "Each file appears whole or not at all. Messages go to standard error.";

/// The parser alone would only say that a command is missing.
void refuseUnknownCommand(const CLI::App& app, int argc, char** argv) {
    if (argc < 2 || argv[1][0] == '-') return;
    const auto isNamed = [&](const CLI::App* command) { return command->check_name(argv[1]); };
    const std::vector<const CLI::App*> commands = app.get_subcommands({});
    if (std::any_of(commands.begin(), commands.end(), isNamed)) return;
    throw UserError(ExitCode::kUsage, std::string(argv[1]) + ": no such command (see --help)");
}

/// Figures that did not reach standard output are no success.
int finish(ExitCode code) {
    if (std::cout.flush()) return static_cast<int>(code);
    complain("standard output cannot be written");
    return static_cast<int>(ExitCode::kOutput);
}

/// Opens the standard streams that whoever started the program has closed: the first files opened would take their
/// numbers, and messages land in them. The wrong way round, so that what is printed there fails as before.
void openClosedStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
            ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void runCommandLine(int argc, char** argv) {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    endCleanlyOnSignals();
    CLI::App app(
        "Turns a burst of slightly displaced infrared frames into one image of twice the resolution.",
        "oravo-superres");
    app.require_subcommand(1);
    app.set_version_flag("--version", "oravo-superres " ORAVO_VERSION);
    app.footer(std::string("oravo-superres COMMAND --help is the manual of a command.\n\n") + kExitCodes);
    EnhanceCommand enhanceCommand;
    SimulateCommand simulateCommand;
    EvaluateCommand evaluateCommand;
    addEnhance(app, enhanceCommand, kExitCodes);
    addSimulate(app, simulateCommand, kExitCodes);
    addEvaluate(app, evaluateCommand, kExitCodes);
    DefectsCommand defectsCommand;
    addDefects(app, defectsCommand, kExitCodes);
    MeasureCommand measureCommand;
    addMeasure(app, measureCommand, kExitCodes);
    PatternCommand patternCommand;
    addPattern(app, patternCommand, kExitCodes);
    try {
        refuseUnknownCommand(app, argc, argv);
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() != 0) {
            throw UserError(ExitCode::kUsage, std::string(e.what()) + " (see --help)");
        }
        app.exit(e);  // --help, --version
    }
}

}  // namespace

int main(int argc, char** argv) {
    openClosedStreams();
    const ExitCode code = outcomeOf([&] { runCommandLine(argc, argv); });
    return code == ExitCode::kSuccess ? finish(code) : static_cast<int>(code);
}
