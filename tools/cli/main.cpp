#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <opencv2/core/utils/logger.hpp>

#include "tools/base/Messages.h"
#include "tools/base/Outcome.h"
#include "tools/base/UserError.h"
#include "tools/cli/DefectsOptions.h"
#include "tools/cli/InputOptions.h"
#include "tools/cli/PipelineOptions.h"
#include "tools/cli/ResultOptions.h"
#include "tools/cli/Validators.h"
#include "tools/commands/Batch.h"
#include "tools/commands/Commands.h"
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
    "With --jobs, the highest code of all recordings. What --every has no image for is told in the last "
    "line.\n"
    "Each file appears whole or not at all. Messages go to standard error.";

constexpr float kLargestBlur = 1e3f;             // far beyond any camera; at 1e30 no weights are left
constexpr float kLargestSimulatedBlur = 100.0f;  // its taps reach five times as far

void addEnhance(CLI::App& app, EnhanceCommand& c) {
    CLI::App* sub = app.add_subcommand("enhance", "Enlarge a burst or recording to twice its size");
    EnhanceParameters& p = c.parameters;
    sub->add_option(
           "INPUT", c.inputs,
           "Frames in order: single-channel TIFF (multi-page too), PNG or PGM files of 8 or 16 bits or "
           "float, NumPy arrays (.npy: rows x columns or frames x rows x columns), matrices of numbers as "
           "text (.csv, .tsv, .asc, .txt; with heading lines, and with decimal commas unless commas "
           "separate the numbers), raw dumps (see --raw), "
           "or folders of them. A folder is read in natural order (frame_9 before frame_10); where some "
           "names begin with \"frame\", only these are read")
        ->required();
    sub->add_option(
           "-o,--output", c.output,
           "OUT.tif: 32-bit float, in the unit of the decoded input, NaN where no frame has a value; "
           "- for standard output. With --every one page for each image, or a folder (without frames, or a "
           "new "
           "name ending in /) for files named after the newest frame")
        ->check(notEmpty())
        ->required();
    sub->add_flag("--every", c.every, "One image for each frame from the fifth on, instead of the last only");
    sub->add_option(
           "--jobs", c.jobs,
           "Batch: each INPUT is a recording of its own, the output is a folder that gets NAME.tif for each, "
           "and so many of them are enhanced at a time. Names of other outputs hold {}, which NAME takes the "
           "place of, such as --report out/{}.html")
        ->check(CLI::Range(1, 1024));
    addPipelineOptions(*sub, p);
    CLI::Option* camera =
        sub->add_option("--camera", c.camera,
                        "Camera description that sets the blur: model number (101 to 108) and field of "
                        "view, such as \"107 FOV 20\"")
            ->check(notEmpty());
    sub->add_option("--psf-sigma", p.psfSigma, "Blur of the camera: standard deviation in enlarged pixels")
        ->check(numberWithin(0.0f, kLargestBlur, true))
        ->capture_default_str()
        ->excludes(camera);
    CLI::Option* weight =
        sub->add_option(
               "--tv-weight", p.tvWeight,
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
    addReadOptions(sub, c.reading);
    addDecodeOptions(sub, c.decode);
    CLI::Option* nuc = sub->add_flag("--nuc", p.rawCounts,
                                     "Values are raw counts: the plausible range is -32768 .. 32767 instead "
                                     "of -274 .. 5000. (The reference pipeline refuses others)");
    sub->add_option(
           "--calibration", c.calibration,
           "COUNTS1 TEMPERATURE1 COUNTS2 TEMPERATURE2: the input holds signed 16-bit counts, which "
           "each pixel's line through two frames of counts turns into temperatures. A temperature "
           "is a number or an image of floats. The frames of counts are read as the input is (--raw, "
           "--scale ...), and all images are cropped with it. A pixel whose two counts are equal takes "
           "its neighbours' line; one without any counts as defective")
        ->expected(4)
        ->excludes(nuc);
    sub->add_option("--shifts", c.shiftsFile,
                    "FILE.csv for the shifts of the last window's frames against their reference: "
                    "frame,dx,dy with frame(p + d) = reference(p)")
        ->check(notEmpty());
    addResultOptions(sub, c.results);
    sub->add_flag("--timing", p.timing, "Print the library's timing report to standard output");
    sub->footer(kExitCodes);
    bool* const guarded = &p.guarded;
    sub->add_flag_callback(
        "--no-guard", [guarded] { *guarded = false; },
        "Take every frame and parameter as given. Otherwise repeated frames are skipped, no window "
        "reaches across a jump of level or contrast, frames that moved too far or do not fit are left "
        "out, and the TV weight is lowered for noisy frames unless --tv-weight is given; each is said");
    sub->callback([&c, sub, weight] {
        refuseUselessOptions(*sub, c.parameters);
        c.parameters.chooseWeight = weight->count() == 0;
        c.jobs == 0 ? enhance(c) : enhanceBatch(c);
    });
}

void addSimulate(CLI::App& app, SimulateCommand& c) {
    CLI::App* sub =
        app.add_subcommand("simulate", "Render a thermal scene and a burst of it with known truth");
    sub->add_option(
           "-o,--output", c.folder,
           "Folder for frame_000.tif ..., truth.tif (sharp, twice the size) and shifts.csv. One that holds "
           "frames or these files is refused")
        ->check(notEmpty())
        ->required();
    sub->add_option("--width", c.width, "Width of a frame")
        ->check(CLI::Range(8, 8192))
        ->capture_default_str();
    sub->add_option("--height", c.height, "Height of a frame")
        ->check(CLI::Range(8, 8192))
        ->capture_default_str();
    sub->add_option("--frames", c.frames, "Number of frames (default 5, or the number of --shifts)")
        ->check(CLI::Range(1, 100000));
    sub->add_option("--reference", c.reference,
                    "Frame without displacement, on whose grid the truth lies (default: the one that enhance "
                    "refers to, the fourth from the end)")
        ->check(CLI::Range(0, 99999));
    sub->add_option(
           "--shifts", c.shifts,
           "Displacements of the frames in pixels, x right, y down: \"dx,dy;dx,dy;...\" or a file with "
           "lines that end in dx,dy; frame(p + d) = reference(p)")
        ->check(notEmpty());
    sub->add_option("--scene", c.scene,
                    "Picture to take frames of instead of the rendered scene: its middle, twice the size of "
                    "the frames")
        ->check(notEmpty());
    sub->add_option("--scale", c.sceneDecode.scale, "Decode of that picture: value = SCALE * stored + OFFSET")
        ->check(scaleFactor())
        ->capture_default_str();
    sub->add_option("--offset", c.sceneDecode.offset, "See --scale")
        ->check(numberWithin(-kUnbounded, kUnbounded))
        ->capture_default_str();
    sub->add_option("--max-shift", c.maxShift, "Largest random displacement in x and y, in pixels")
        ->check(numberWithin(0.0, 1000.0))
        ->capture_default_str();
    sub->add_option("--noise", c.noise, "Standard deviation of the noise, in degrees Celsius")
        ->check(numberWithin(0.0, 1e6))
        ->capture_default_str();
    sub->add_option("--psf-sigma", c.psfSigma, "Blur of the camera: standard deviation in enlarged pixels")
        ->check(numberWithin(0.0f, kLargestSimulatedBlur, true))
        ->capture_default_str();
    sub->add_option("--defects", c.defects, "Isolated pixels that carry status codes instead of values")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    sub->add_option("--seed", c.seed, "Seed of random displacements, noise and defects")
        ->check(wholeNumber())
        ->capture_default_str();
    sub->footer(kExitCodes);
    sub->callback([&c] { simulate(c); });
}

void addEvaluate(CLI::App& app, EvaluateCommand& c) {
    CLI::App* sub =
        app.add_subcommand("evaluate", "Compare an enlarged image with the truth: PSNR, RMSE and SSIM");
    sub->add_option("RESULT", c.result, "The enlarged image")->check(notEmpty())->required();
    sub->add_option("TRUTH", c.truth, "The truth, of the same size")->check(notEmpty())->required();
    sub->add_option("--reference", c.reference,
                    "Reference frame, whose bicubic enlargement is compared with the truth as well")
        ->check(notEmpty());
    sub->add_option("--beside", c.others,
                    "A further enlarged image, judged under the name of its file; may be given several times")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(notEmpty());
    sub->add_option("--crop", c.crop, "Pixels left out along the border")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    sub->add_flag("--regions", c.regions,
                  "The RMSE of flat places and of the hottest and coldest 1 % as well");
    sub->add_flag("--json", c.json, "Prints all figures as JSON, those of --regions too");
    sub->add_option("--picture", c.picture,
                    "FILE.png for a picture of all of them on one colour scale, with a magnified detail")
        ->check(notEmpty());
    sub->footer(
        std::string("PSNR takes the range of the truth as its peak, RMSE is in the images' unit, SSIM has "
                    "a Gaussian window of sigma 1.5.\nPixels without a value are left out and counted.\n\n") +
        kExitCodes);
    sub->callback([&c] { evaluate(c); });
}

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

/// Does what the command line says.
void obey(int argc, char** argv) {
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
    addEnhance(app, enhanceCommand);
    addSimulate(app, simulateCommand);
    addEvaluate(app, evaluateCommand);
    DefectsCommand defectsCommand;
    addDefects(app, defectsCommand, kExitCodes);
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
    const ExitCode code = outcomeOf([&] { obey(argc, argv); });
    return code == ExitCode::kSuccess ? finish(code) : static_cast<int>(code);
}
