#include "tools/cli/CommandOptions.h"
#include "tools/cli/Validators.h"

namespace oravo::tools {
namespace {

constexpr float kLargestBlur = 100.0f;  // the taps of the camera reach five times as far

/// What frames are taken of, and by what camera.
void addSceneAndCamera(CLI::App* sub, SimulateCommand& c) {
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
        ->check(numberWithin(0.0f, kLargestBlur, true))
        ->capture_default_str();
    sub->add_option("--defects", c.defects, "Isolated pixels that carry status codes instead of values")
        ->check(CLI::Range(0, 1000000))
        ->capture_default_str();
    sub->add_option("--seed", c.seed, "Seed of random displacements, noise and defects")
        ->check(wholeNumber())
        ->capture_default_str();
}

}  // namespace

void addSimulate(CLI::App& app, SimulateCommand& c, const std::string& exitCodes) {
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
    addSceneAndCamera(sub, c);
    sub->footer(exitCodes);
    sub->callback([&c] { simulate(c); });
}

}  // namespace oravo::tools
