#include "tools/cli/CommandOptions.h"
#include "tools/cli/InputOptions.h"
#include "tools/cli/Validators.h"

namespace oravo::tools {
namespace {

void addBlur(CLI::App* measure, MeasureBlurCommand& c, const std::string& footer) {
    CLI::App* sub = measure->add_subcommand("blur", "Find the --psf-sigma of a camera from a slanted edge");
    sub->add_option("FRAME", c.inputs,
                    "Frames of a straight, sharp edge, tilted by 5 to 10 degrees; files and folders as of "
                    "enhance")
        ->required();
    sub->add_option_function<std::string>(
        "--region", [&c](const std::string& text) { c.region = parseCrop(text, "--region"); },
        "WxH+X+Y: the part of the frames that holds the edge and some of the level on both sides, and no "
        "other edge. Default: in each frame the sharpest straight edge, 2 to 43 degrees off its rows or "
        "columns");
    sub->add_option("--picture", c.picture,
                    "FILE.png for a picture of the modulation transfer function and of the edge")
        ->check(notEmpty());
    sub->add_flag("--json", c.json, "Prints all figures as JSON");
    addReadOptions(sub, c.reading);
    addDecodeOptions(sub, c.decode);
    sub->footer(
        "Film an edge that is sharp in itself, such as that of a metal sheet before a warm, even surface, "
        "with at least 20 pixels of each beside it, at the distance and focus of later use. Tilt it by 5 to "
        "10 degrees, keep camera and edge still, and switch off what sharpens or compresses frames. One "
        "frame with a contrast of 50 times the noise does; more frames reduce the noise. The last line is "
        "an option of enhance as it is.\n\n" +
        footer);
    sub->callback([&c] { measureBlur(c); });
}

}  // namespace

void addMeasure(CLI::App& app, MeasureCommand& command, const std::string& exitCodes) {
    CLI::App* measure = app.add_subcommand("measure", "Measure what the pipelines have to know of a camera");
    measure->require_subcommand(1);
    measure->footer("oravo-superres measure COMMAND --help is the manual of a command.\n\n" + exitCodes);
    addBlur(measure, command.blur, exitCodes);
}

}  // namespace oravo::tools
