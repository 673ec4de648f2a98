#include "tools/cli/PipelineOptions.h"

#include "tools/base/UserError.h"
#include "tools/cli/Validators.h"

namespace oravo::tools {
namespace {

constexpr int kMostFrames = vision::SrPrecise::kMaxFrames;
constexpr double kMostSmoothness = 1e6;
constexpr float kLargestBlur = 1e3f;  // far beyond any camera; at 1e30 no weights are left

/// An option that only some pipelines have a use for.
struct Limited {
    const char* option;
    bool precise;        // of use to the precise pipeline, or else to those of five frames
    const char* reason;  // why it is of none to the others, in words that follow "the float pipeline "
};

constexpr Limited kLimited[] = {
    {"--frames", true, "makes each image of five frames"},
    {"--smoothness", true, "takes a --tv-weight"},
    {"--psf-box", true, "takes the whole blur for a Gaussian (--psf-sigma)"},
    {"--tv-weight", false, "chooses the weight of its prior by itself (--smoothness sets it)"},
    {"--iterations", false, "goes on until the image no longer changes"},
    {"--relative-residue", false, "goes on until the image no longer changes"},
    {"--registration-error", false, "weighs each pixel by how well it fits"},
};

}  // namespace

void refuseUselessOptions(const CLI::App& command, const EnhanceParameters& parameters) {
    const bool precise = parameters.kind == PipelineKind::precise;
    for (const Limited& limited : kLimited) {
        if (limited.precise == precise || command.count(limited.option) == 0) continue;
        throw UserError(ExitCode::kUsage, std::string(limited.option) + ": the " + nameOf(parameters.kind) +
                                              " pipeline " + limited.reason +
                                              (precise ? "; --pipeline float takes this option" : ""));
    }
    const CLI::Option* pattern = command.get_option("--fixed-pattern");
    if (!precise && pattern->count() != 0 && pattern->as<std::string>() == "auto") {
        throw UserError(ExitCode::kUsage,
                        "--fixed-pattern auto: the " + nameOf(parameters.kind) +
                            " pipeline finds no pattern by itself; it takes the FILE of pattern learn");
    }
    if (parameters.kind == PipelineKind::vector && command.count("--defects") != 0) {
        throw UserError(ExitCode::kUsage,
                        "--defects: the vector pipeline takes every pixel as it is; defects repair replaces "
                        "those of a list beforehand");
    }
}

CLI::Option* addFramesOption(CLI::App& command, EnhanceParameters& parameters, const std::string& manual) {
    return command.add_option("--frames", parameters.frames, manual)->capture_default_str();
}

void addBlurOptions(CLI::App& command, EnhanceParameters& parameters) {
    command
        .add_option("--psf-sigma", parameters.psfSigma,
                    "Blur of the camera: standard deviation in enlarged pixels")
        ->check(numberWithin(0.0f, kLargestBlur, true))
        ->capture_default_str();
    command
        .add_option("--psf-box", parameters.psfBox,
                    "Side of the square that a pixel of the camera averages over, in enlarged pixels: 2 for "
                    "pixels without gaps. --psf-sigma is that of the optics then (precise pipeline; default: "
                    "0, --psf-sigma stands for all blur)")
        ->check(numberWithin(0.0f, 2.0f));
}

namespace {

void addKindOption(CLI::App& command, EnhanceParameters& p) {
    command
        .add_option_function<std::string>(
            "--pipeline", [&p](const std::string& name) { p.kind = *pipelineNamed(name); },
            "How images are computed: precise (the best image: up to twelve frames, which may turn, zoom and "
            "drift; nothing to tune); or float (five frames that only move, live on one core); or vector "
            "(the same on 4-lane vector operations, but defective pixels are not repaired); or reference "
            "(the pipeline of raw 16-bit counts: phase correlation, for even widths; the image lies on the "
            "newest frame; sums in single precision)")
        ->check(CLI::IsMember(pipelineNames()))
        ->default_str(nameOf(p.kind));
}

void addPreciseOptions(CLI::App& command, EnhanceParameters& p) {
    addFramesOption(command, p,
                    "The most frames that an image is made of, the newest ones (precise pipeline; the others "
                    "take five)")
        ->check(CLI::Range(1, kMostFrames));
    command
        .add_option(
            "--smoothness", p.smoothness,
            "Weight of the prior of the precise pipeline, in units of the scene's contrast; 0: the one that "
            "best predicts withheld pixels")
        ->check(numberWithin(0.0, kMostSmoothness))
        ->capture_default_str();
    command
        .add_option(
            "--threads", p.threads,
            "Threads that share the work on one image (precise and float pipelines); 0: one on each "
            "processor. Images have the same bits for every number. With --jobs, each recording has as "
            "many, and 0 divides the processors between them")
        ->check(CLI::Range(0, vision::SrPrecise::kMaxThreads))
        ->capture_default_str();
}

void addRegistrationOptions(CLI::App& command, EnhanceParameters& p) {
    command
        .add_option_function<int>(
            "--reference-index", [&p](int index) { p.referenceIndex = index; },
            "Frame whose grid the image lies on, counted back from the newest "
            "(default: 3; of the reference pipeline always 0)")
        ->check(CLI::Range(0, kMostFrames - 1));
    command
        .add_option_function<std::string>(
            "--registration",
            [&p](const std::string& name) {
                p.registration = name == "phase" ? Registration::phase : Registration::corners;
            },
            "How the float pipeline aligns frames: tracked corners, or phase correlation (for even widths; "
            "needs fine texture where frames moved by more than a pixel) (default: corners; of the vector "
            "pipeline always corners, of the reference pipeline always phase)")
        ->check(CLI::IsMember({"corners", "phase"}));
}

}  // namespace

void addPipelineOptions(CLI::App& command, EnhanceParameters& parameters) {
    addKindOption(command, parameters);
    addPreciseOptions(command, parameters);
    addRegistrationOptions(command, parameters);
}

}  // namespace oravo::tools
