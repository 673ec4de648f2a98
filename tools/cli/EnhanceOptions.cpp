#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "tools/base/FileNames.h"
#include "tools/base/UserError.h"
#include "tools/cli/CommandOptions.h"
#include "tools/cli/InputOptions.h"
#include "tools/cli/PipelineOptions.h"
#include "tools/cli/ResultOptions.h"
#include "tools/cli/Validators.h"
#include "tools/commands/Batch.h"
#include "tools/input/RawStream.h"

namespace oravo::tools {
namespace {

void addInputAndOutput(CLI::App* sub, EnhanceCommand& c) {
    sub->add_option(
           "INPUT", c.inputs,
           "Frames in order: single-channel TIFF (multi-page too), PNG or PGM files of 8 or 16 bits or "
           "float, NumPy arrays (.npy: rows x columns or frames x rows x columns), matrices of numbers as "
           "text (.csv, .tsv, .asc, .txt; with heading lines, and with decimal commas unless commas "
           "separate the numbers), raw dumps (see --raw), radiometric JPEGs (temperatures by exiftool), "
           "videos of 16-bit grey "
           "without loss (by ffmpeg), or folders of them. A folder is read in natural order (frame_9 before "
           "frame_10); where some "
           "names begin with \"frame\", only these are read. Or - for standard input, or a named pipe, of "
           "raw "
           "frames, with --raw, --every and -o -: a raw image for each frame, as soon as it is there")
        ->required();
    sub->add_option(
           "-o,--output", c.output,
           "The image, in the unit of the decoded input, NaN where no frame has a value. OUT.tif (or - for "
           "standard output) and OUT.npy: 32-bit float; OUT.csv: text; OUT.png: 16-bit counts, see "
           "--output-scale. With --every a TIFF page or an array's layer for each image, or a folder "
           "(without "
           "frames, or a new name ending in /) for TIFF files named after the newest frame; FOLDER/{}.png "
           "makes them PNG, and so on")
        ->check(notEmpty())
        ->required();
    sub->add_option(
           "--output-scale", c.counts.scale,
           "What one count of OUT.png is worth: value = OFFSET + SCALE * count, with 0 for no value. By "
           "default the finest of 1, 2 or 5 times a power of ten that all values fit; the file states "
           "it. Values beyond are clipped, with a warning")
        ->check(numberWithin(0.0, kUnbounded, true));
    sub->add_option("--output-offset", c.counts.offset,
                    "OFFSET, see --output-scale (default: below all values)")
        ->check(finiteNumber());
    sub->add_flag("--every", c.every, "One image for each frame from the fifth on, instead of the last only");
    sub->add_flag_callback(
        "--no-metadata", [&c] { c.metadata = false; },
        "Leave out of TIFF and PNG files what else goes into them: the reference frame's EXIF, GPS, XMP, "
        "GeoTIFF "
        "and other tags, and a note on version, parameters and SHA-256 of the inputs");
    sub->add_option_function<std::string>(
        "--raw-output",
        [&c](const std::string& text) { c.rawOutput = parsePixelFormat(text, "--raw-output"); },
        "TYPE of the raw images of a pipe, as for --raw (default: that of its frames). Integers are stored "
        "as "
        "those of the frames are (--encoding, --scale ...), with 0 where there is no value; f32 and f64 hold "
        "the values themselves");
}

void addBatchOptions(CLI::App* sub, EnhanceCommand& c) {
    sub->add_option(
           "--jobs", c.jobs,
           "Batch: each INPUT is a recording of its own, the output is a folder that gets NAME.tif for each "
           "(or FOLDER/{}.png, as above), and so many of them are enhanced at a time. Names of other outputs "
           "hold {}, which NAME takes the "
           "place of, such as --report out/{}.html")
        ->check(CLI::Range(1, 1024));
    sub->add_flag(
        "--resume", c.resume,
        "Leave alone what is finished: where OUT.tif.receipt, which this option writes beside each image, "
        "shows that the program's version, the options, the content of the inputs and the results are "
        "unchanged, nothing is done. So a run that was ended goes on by the same command");
}

/// The options that results depend on, as given; how many run at once and where results go is not among them.
std::vector<std::string> orderedOptions(const CLI::App& sub) {
    static const std::set<std::string> kOthers{"INPUT",      "--output",    "--jobs",   "--resume",
                                               "--threads",  "--timing",    "--shifts", "--preview",
                                               "--coverage", "--noise-map", "--report"};
    std::vector<std::string> all;
    for (const CLI::Option* option : sub.get_options()) {
        const std::string name = option->get_name();
        if (option->count() == 0 || kOthers.count(name) != 0) continue;
        all.push_back(name);
        for (const std::string& value : option->results()) all.push_back(value);
    }
    return all;
}

void addSolverOptions(CLI::App* sub, EnhanceCommand& c) {
    EnhanceParameters& p = c.parameters;
    CLI::Option* camera =
        sub->add_option("--camera", c.camera,
                        "Camera description that sets the blur: model number (101 to 108) and field of "
                        "view, such as \"107 FOV 20\"")
            ->check(notEmpty());
    addBlurOptions(*sub, p);
    for (const char* blur : {"--psf-sigma", "--psf-box"}) sub->get_option(blur)->excludes(camera);
    sub->add_option("--tv-weight", p.tvWeight,
                    "Weight of the data against smoothness: larger is sharper, 100 to 10 suit noisy frames")
        ->check(numberWithin(1.0f, kLargestFloat))
        ->capture_default_str();
    sub->add_option("--iterations", p.iterations, "The most steps of the solver")
        ->check(CLI::Range(1, std::numeric_limits<int>::max()))
        ->capture_default_str();
    // The library compares in double precision, in which 1e-6 as a float lies below its bound of 1e-6.
    const float leastResidue = std::nextafter(1e-6f, 1.0f);
    sub->add_option("--relative-residue", p.relativeResidue, "Relative residue at which the solver stops")
        ->check(numberWithin(leastResidue, kLargestFloat))
        ->capture_default_str();
    sub->add_option("--registration-error", p.registrationError,
                    "Largest disagreement with the reference at which a pixel is used")
        ->check(numberWithin(0.0f, 1.0f, true))
        ->capture_default_str();
}

void addPatternOption(CLI::App* sub, EnhanceCommand& c) {
    sub->add_option_function<std::string>(
        "--fixed-pattern",
        [&c](const std::string& text) {
            c.parameters.findPattern = text != "off";
            if (text != "off" && text != "auto") c.sensor.pattern = text;
        },
        "What the sensor adds to every frame at the same pixels (columns, rows, single pixels): auto: found "
        "in "
        "the frames and subtracted where there is one (the precise pipeline's default; needs a scene that "
        "moves); off: left alone; or the FILE of pattern learn, which is subtracted from the frames of any "
        "pipeline");
}

void addDefectsOption(CLI::App* sub, EnhanceCommand& c) {
    sub->add_option("--defects", c.defects,
                    "LIST.csv of defects detect: its pixels count as defects in every frame. The precise "
                    "pipeline leaves them out, besides those that it finds by itself; the float and the "
                    "reference pipeline put their neighbours' mean in their place. The list is for frames "
                    "before --crop, or for those after it")
        ->check(notEmpty());
}

/// What the numbers of the input mean.
void addValueOptions(CLI::App* sub, EnhanceCommand& c) {
    EnhanceParameters& p = c.parameters;
    addReadOptions(sub, c.reading);
    addDecodeOptions(sub, c.decode);
    addShutterOption(sub, c.sensor);
    addPatternOption(sub, c);
    addDefectsOption(sub, c);
    CLI::Option* nuc = sub->add_flag("--nuc", p.rawCounts,
                                     "Values are raw counts: the plausible range is -32768 .. 32767 instead "
                                     "of -274 .. 5000. (The reference pipeline refuses others)");
    sub->add_option(
           "--calibration", c.calibration,
           "COUNTS1 TEMPERATURE1 COUNTS2 TEMPERATURE2: the input holds signed 16-bit counts, which "
           "each pixel's line through two frames of counts turns into temperatures. A temperature "
           "is a number or an image of floats. The frames of counts are read as the input is (--raw, "
           "--scale ...), and all images are cropped with it. Pixels whose counts are equal or "
           "hardly change count as defective")
        ->expected(4)
        ->excludes(nuc);
}

}  // namespace

void addEnhance(CLI::App& app, EnhanceCommand& c, const std::string& exitCodes) {
    CLI::App* sub = app.add_subcommand("enhance", "Enlarge a burst or recording to twice its size");
    EnhanceParameters& p = c.parameters;
    addInputAndOutput(sub, c);
    addBatchOptions(sub, c);
    addPipelineOptions(*sub, p);
    addSolverOptions(sub, c);
    addValueOptions(sub, c);
    sub->add_option("--shifts", c.shiftsFile,
                    "FILE.csv for the shifts of the last window's frames against their reference: "
                    "frame,dx,dy with frame(p + d) = reference(p)")
        ->check(notEmpty());
    addResultOptions(sub, c.results);
    sub->add_flag("--timing", p.timing, "Print the library's timing report to standard output");
    sub->footer(exitCodes);
    bool* const guarded = &p.guarded;
    sub->add_flag_callback(
        "--no-guard", [guarded] { *guarded = false; },
        "Take every frame and parameter as given. Otherwise repeated frames are skipped, no window "
        "reaches across a jump of level or contrast, frames that moved too far or do not fit are left "
        "out, and the TV weight is lowered for noisy frames unless --tv-weight is given; each is said");
    sub->callback([&c, sub] {
        refuseUselessOptions(*sub, c.parameters);
        if ((c.counts.scale || c.counts.offset) && lowerExtension(c.output) != ".png") {
            throw UserError(ExitCode::kUsage,
                            "--output-scale, --output-offset: are for an output whose name ends in .png");
        }
        c.parameters.chooseWeight = sub->count("--tv-weight") == 0;
        if (std::any_of(c.inputs.begin(), c.inputs.end(), isStream)) return enhanceLive(c);
        if (c.rawOutput)
            throw UserError(ExitCode::kUsage, "--raw-output: is the type of images out of a pipe");
        c.ordered = orderedOptions(*sub);
        if (c.jobs == 0) {
            enhance(c);
        } else {
            enhanceBatch(c);
        }
    });
}

}  // namespace oravo::tools
