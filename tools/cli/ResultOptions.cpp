#include "tools/cli/ResultOptions.h"

#include "tools/cli/Validators.h"
#include "tools/commands/ResultFiles.h"

namespace oravo::tools {

namespace {

/// An option that names one file each time it is given.
void addFiles(CLI::App* command, const char* name, std::vector<std::string>& files, const char* text) {
    // What follows the file is no other file of the option: it may be the input.
    command->add_option(name, files, text)->allow_extra_args(false)->check(notEmpty());
}

}  // namespace

void addResultOptions(CLI::App* command, ResultOptions& options) {
    command
        ->add_option(
            "--preview", options.preview,
            "FILE.png: a picture of the (last) image in colours, with a scale of values in the unit "
            "of --encoding or --unit, and with its hottest and coldest pixel marked. Pixels without a "
            "value have a colour of their own, explained below it. With --every also a folder, existing or "
            "ending in /, for a picture of each image, named after its newest frame; give --range to make "
            "them comparable")
        ->check(notEmpty());
    command->add_option("--palette", options.palette, "Colours of pictures and reports, lowest value first")
        ->check(CLI::IsMember(paletteNames()))
        ->capture_default_str();
    command->add_option_function<std::string>(
        "--range", [&options](const std::string& text) { options.range = parseRange(text); },
        "LOW:HIGH: the values that the colours span (default: from the lowest to the highest of the image, "
        "but for a few outliers). "
        "Fixed ranges make pictures comparable");
    addFiles(command, "--coverage", options.coverages,
             "How many of the frames are valid at each pixel of the (last) image: FILE.tif, .npy "
             "or .csv for numbers, FILE.png for a picture. May be given twice");
    addFiles(
        command, "--noise-map", options.noiseMaps,
        "FILE.tif, .npy or .csv for numbers, FILE.png for a picture: a standard deviation for each pixel of "
        "the (last) "
        "image, in its unit. Of the precise pipeline that of the image itself; of the others the noise of "
        "the frames: how they scatter around what the image says they should show, within 5 x 5 of their "
        "pixels, which is larger where something moved or the image is not sharp enough to explain an "
        "edge. May be given twice");
    addFiles(
        command, "--report", options.reports,
        "FILE.html: a page about the (last) image for people: how good it is, what was left out and why, "
        "pictures before and after under one slider with the value under the pointer, maps, motions and "
        "all parameters, or FILE.json: its figures for programs. May be given twice");
}

}  // namespace oravo::tools
