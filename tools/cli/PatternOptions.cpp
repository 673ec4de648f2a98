#include "tools/cli/CommandOptions.h"
#include "tools/cli/InputOptions.h"
#include "tools/cli/PipelineOptions.h"
#include "tools/cli/Validators.h"

namespace oravo::tools {
namespace {

void addLearn(CLI::App* pattern, LearnPatternCommand& c, const std::string& footer) {
    CLI::App* sub = pattern->add_subcommand("learn", "Learn a sensor's fixed pattern from recordings");
    sub->add_option(
           "RECORDING", c.inputs,
           "Recordings of scenes that move over the sensor: folders, files of several frames, or runs of "
           "files of one frame, as of enhance. The more scenes, the better")
        ->required();
    sub->add_option(
           "-o,--output", c.output,
           "FILE.tif: what is to be subtracted from each frame, 32-bit float in the unit of the decoded "
           "input; for enhance --fixed-pattern")
        ->check(notEmpty())
        ->required();
    addReadOptions(sub, c.reading);
    addDecodeOptions(sub, c.decode);
    sub->add_flag("--nuc", c.parameters.rawCounts,
                  "Values are raw counts: the plausible range is -32768 .. 32767 instead of -274 .. 5000");
    addShutterOption(sub, c.sensor);
    addFramesOption(*sub, c.parameters, "Frames of a stretch, from which the pattern is found at a time")
        ->check(CLI::Range(5, vision::SrPrecise::kMaxFrames));
    addBlurOptions(*sub, c.parameters);
    sub->footer(
        "Each recording is cut into stretches; in each, all frames are explained by one image and one "
        "pattern, "
        "and the patterns found are averaged. The camera has to move, by hand or on a swing of some pixels; "
        "what "
        "changes slowly over the sensor cannot be separated from the scene, and is left to --shutter.\n\n" +
        footer);
    sub->callback([&c] { learnPattern(c); });
}

}  // namespace

void addPattern(CLI::App& app, PatternCommand& command, const std::string& exitCodes) {
    CLI::App* pattern = app.add_subcommand("pattern", "Learn what a sensor adds to every frame");
    pattern->require_subcommand(1);
    pattern->footer("oravo-superres pattern COMMAND --help is the manual of a command.\n\n" + exitCodes);
    addLearn(pattern, command.learn, exitCodes);
}

}  // namespace oravo::tools
