#include "tools/cli/PipelineOptions.h"

namespace oravo::tools {

void addPipelineOptions(CLI::App& command, EnhanceParameters& parameters) {
    EnhanceParameters& p = parameters;
    command
        .add_option_function<std::string>(
            "--pipeline", [&p](const std::string& name) { p.kind = *pipelineNamed(name); },
            "How images are computed: float; or vector (the same on 4-lane vector operations, but defective "
            "pixels are not repaired); or reference (the pipeline of raw 16-bit counts: phase "
            "correlation, for even widths; the image lies on the newest frame; sums in single precision)")
        ->check(CLI::IsMember(pipelineNames()))
        ->default_str("float");
    command
        .add_option_function<int>(
            "--reference-index", [&p](int index) { p.referenceIndex = index; },
            "Frame of the window of five whose grid the image lies on, counted back from the newest "
            "(default: 3; of the reference pipeline always 0)")
        ->check(CLI::Range(0, Enhancer::kWindowSize - 1));
    command
        .add_option_function<std::string>(
            "--registration",
            [&p](const std::string& name) {
                p.registration = name == "phase" ? Registration::phase : Registration::corners;
            },
            "How frames are aligned: tracked corners, or phase correlation (for even widths; needs fine "
            "texture where frames moved by more than a pixel) (default: corners; of the vector pipeline "
            "always "
            "corners, of the reference pipeline always phase)")
        ->check(CLI::IsMember({"corners", "phase"}));
}

}  // namespace oravo::tools
