#include "capi/BurstOptions.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "support/CodeLocation.h"
#include "vision/superresolution/detail/choice/MemoryNeeds.h"
#include "vision/superresolution/detail/memory/FrameSize.h"

namespace oravo::capi {
namespace {

using vision::SrPrecise;
using vision::SrPreciseOptions;
using vision::detail::PipelineKind;
using vision::detail::PipelineTraits;
using vision::detail::Registration;
using vision::detail::WindowParameters;
using vision::detail::WindowPipeline;
using Options = oravo_burst_options;

constexpr float kLowestCount = -32768.0f, kHighestCount = 32767.0f;
constexpr float kMostSigma = 100.0f;  ///< of the pipelines that set no bound; far beyond any lens
constexpr int kPreciseFrames = 12;

[[noreturn]] void refuse(const std::string& text) {
    raise(ErrorKind::badArgument, text, {"capi/BurstOptions", __LINE__, "oravo::capi::settledOptions"});
}

template <class Number>
std::string text(Number number) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.7g", static_cast<double>(number));
    return digits;
}

/// Also refuses what is not a number.
template <class Number>
void require(bool holds, const char* name, Number value, const char* bounds) {
    if (!holds || !std::isfinite(static_cast<double>(value)))
        refuse(std::string(name) + " is " + text(value) + "; it has to be " + bounds + ".");
}

template <class Field>
void takeField(const Options* from, Options& to, Field Options::*field) {
    const auto offset = static_cast<std::size_t>(reinterpret_cast<const char*>(&(to.*field)) -
                                                 reinterpret_cast<const char*>(&to));
    if (offset + sizeof(Field) > from->size) return;
    std::memcpy(&(to.*field), reinterpret_cast<const char*>(from) + offset, sizeof(Field));
}

template <class... Field>
void takeFields(const Options* from, Options& to, Field Options::*... fields) {
    (takeField(from, to, fields), ...);
}

/// The defaults, and what the caller's header knows of the options.
Options completed(const Options* given) {
    Options options = defaultBurstOptions();
    if (given == nullptr) return options;
    if (given->size < sizeof given->size || given->size > sizeof options)
        refuse("options.size is " + std::to_string(given->size) +
               "; oravo_burst_options_init() has to fill the options.");
    takeFields(given, options, &Options::pipeline, &Options::registration, &Options::frames, &Options::factor,
               &Options::psf_sigma, &Options::psf_box, &Options::lowest, &Options::highest,
               &Options::smoothness, &Options::find_dead_pixels, &Options::find_pattern, &Options::deviation,
               &Options::tv_weight, &Options::relative_residue, &Options::registration_error,
               &Options::iterations, &Options::most_memory, &Options::progress, &Options::log, &Options::user,
               &Options::threads, &Options::keep_dead_pixels);
    return options;
}

template <class Field>
void requireDefault(const PipelineTraits& traits, const Options& options, Field Options::*field,
                    const char* name) {
    if (options.*field == defaultBurstOptions().*field) return;
    refuse(std::string(name) + " is " + text(options.*field) + ", but the " + traits.name +
           " pipeline has no such option: leave its default.");
}

SrPreciseOptions preciseOptions(const PipelineTraits& traits, const Options& options) {
    requireDefault(traits, options, &Options::registration, "registration");
    requireDefault(traits, options, &Options::tv_weight, "tv_weight");
    requireDefault(traits, options, &Options::relative_residue, "relative_residue");
    requireDefault(traits, options, &Options::registration_error, "registration_error");
    requireDefault(traits, options, &Options::iterations, "iterations");
    SrPreciseOptions precise;
    precise.factor = options.factor;
    precise.psfSigma = options.psf_sigma;
    precise.psfBox = options.psf_box;
    precise.lowest = options.lowest;
    precise.highest = options.highest;
    precise.smoothness = options.smoothness;
    precise.findDeadPixels = options.find_dead_pixels != 0;
    precise.findPattern = options.find_pattern != 0;
    precise.deviation = options.deviation != 0;
    precise.threads = options.threads;
    return precise;
}

Registration registrationOf(const PipelineTraits& traits, const Options& options) {
    if (options.registration == ORAVO_BURST_OWN_REGISTRATION) return traits.registration.value();
    require(options.registration == ORAVO_BURST_CORNERS || options.registration == ORAVO_BURST_PHASE,
            "registration", options.registration, "one of oravo_burst_registration");
    const Registration wanted =
        options.registration == ORAVO_BURST_PHASE ? Registration::phase : Registration::corners;
    if (!traits.choosesRegistration && wanted != traits.registration)
        refuse("registration is " + text(options.registration) + ", but the " + traits.name + " pipeline " +
               traits.alignment + ".");
    return wanted;
}

/// Chooses the range of the pipeline that holds the limits.
void settleRange(const PipelineTraits& traits, const Options& options, BurstSettings& settings) {
    if (!traits.knowsRawCounts) {
        requireDefault(traits, options, &Options::lowest, "lowest");
        requireDefault(traits, options, &Options::highest, "highest");
        return;
    }
    const Options built = defaultBurstOptions();
    const auto within = [&](float low, float high) {
        return options.lowest >= low && options.highest <= high;
    };
    if (!(options.lowest < options.highest) || !within(kLowestCount, kHighestCount)) {
        refuse("[lowest, highest] is [" + text(options.lowest) + ", " + text(options.highest) +
               "]; for the " + traits.name + " pipeline it has to be a range within [-32768, 32767].");
    }
    settings.window.rawCounts = !within(built.lowest, built.highest);
    const float low = settings.window.rawCounts ? kLowestCount : built.lowest;
    const float high = settings.window.rawCounts ? kHighestCount : built.highest;
    settings.marksValuesOutside = options.lowest > low || options.highest < high;
}

void checkWindowOptions(const PipelineTraits& traits, const Options& options) {
    requireDefault(traits, options, &Options::factor, "factor");
    requireDefault(traits, options, &Options::psf_box, "psf_box");
    requireDefault(traits, options, &Options::smoothness, "smoothness");
    requireDefault(traits, options, &Options::find_dead_pixels, "find_dead_pixels");
    requireDefault(traits, options, &Options::keep_dead_pixels, "keep_dead_pixels");
    requireDefault(traits, options, &Options::find_pattern, "find_pattern");
    requireDefault(traits, options, &Options::deviation, "deviation");
    require(options.psf_sigma > 0.0f && options.psf_sigma <= kMostSigma, "psf_sigma", options.psf_sigma,
            "above 0, to 100");
    require(options.tv_weight >= 1.0f, "tv_weight", options.tv_weight, "a number from 1 on");
    require(static_cast<double>(options.relative_residue) >= 1e-6, "relative_residue",
            options.relative_residue, "a number above 1e-6");
    require(options.registration_error > 0.0f && options.registration_error <= 1.0f, "registration_error",
            options.registration_error, "above 0, to 1");
    require(options.iterations >= 1, "iterations", options.iterations, "from 1 on");
}

void checkWindowSize(cv::Size size, const PipelineTraits& traits, Registration registration) {
    const int least = vision::detail::leastSide(registration);
    const std::string frames =
        "Frames of " + std::to_string(size.width) + " x " + std::to_string(size.height) + " pixels: ";
    if (size.width < least || size.height < least)
        refuse(frames + "the " + traits.name + " pipeline takes at least " + text(least) + " x " +
               text(least) + ".");
    if (registration == Registration::phase && size.width % 2 != 0)
        refuse(frames + "phase correlation takes even widths only.");
    vision::detail::enlarged({size.width, size.height}, static_cast<float>(WindowPipeline::kFactor),
                             {"capi/BurstOptions", __LINE__, "oravo::capi::checkWindowSize"});
}

void settleWindow(const PipelineTraits& traits, BurstSettings& settings) {
    const Options& options = settings.options;
    checkWindowOptions(traits, options);
    WindowParameters& window = settings.window;
    window.kind = settings.kind;
    window.registration = registrationOf(traits, options);
    checkWindowSize(settings.size, traits, window.registration);
    window.windowSize = options.frames;
    window.referenceIndex = std::min(traits.referenceIndex, options.frames - 1);
    window.psfSigma = options.psf_sigma;
    window.tvWeight = options.tv_weight;
    window.iterations = options.iterations;
    window.relativeResidue = options.relative_residue;
    window.registrationError = options.registration_error;
    window.threads = options.threads;
    settleRange(traits, options, settings);
}

}  // namespace

oravo_burst_options defaultBurstOptions() {
    const SrPreciseOptions precise;
    const WindowParameters window;
    Options options{};
    options.size = sizeof options;
    options.pipeline = ORAVO_BURST_PRECISE;
    options.registration = ORAVO_BURST_OWN_REGISTRATION;
    options.frames = 0;
    options.factor = precise.factor;
    options.psf_sigma = precise.psfSigma;
    options.psf_box = precise.psfBox;
    options.lowest = precise.lowest;
    options.highest = precise.highest;
    options.smoothness = precise.smoothness;
    options.find_dead_pixels = precise.findDeadPixels ? 1 : 0;
    options.find_pattern = precise.findPattern ? 1 : 0;
    options.deviation = precise.deviation ? 1 : 0;
    options.tv_weight = window.tvWeight;
    options.relative_residue = window.relativeResidue;
    options.registration_error = window.registrationError;
    options.iterations = window.iterations;
    options.threads = window.threads;
    options.keep_dead_pixels = 1;
    return options;
}

BurstSettings settledOptions(int width, int height, const oravo_burst_options* given) {
    BurstSettings settings;
    Options& options = settings.options = completed(given);
    require(options.pipeline >= ORAVO_BURST_PRECISE && options.pipeline <= ORAVO_BURST_REFERENCE, "pipeline",
            options.pipeline, "one of oravo_burst_pipeline");
    require(options.frames >= 0 && options.frames <= SrPrecise::kMaxFrames, "frames", options.frames,
            "from 1 to 64, or 0 for the pipeline's own");
    require(options.threads >= 0 && options.threads <= SrPrecise::kMaxThreads, "threads", options.threads,
            "from 1 to 64, or 0 for one on each processor");
    settings.size = {width, height};
    settings.kind = static_cast<PipelineKind>(options.pipeline);
    const PipelineTraits& traits = vision::detail::traitsOf(settings.kind);
    const bool precise = settings.kind == PipelineKind::precise;
    if (!traits.sharesWork) requireDefault(traits, options, &Options::threads, "threads");
    if (options.frames == 0) options.frames = precise ? kPreciseFrames : WindowPipeline::kWindowSize;
    if (precise) {
        settings.precise = preciseOptions(traits, options);
        SrPrecise(width, height, settings.precise);  // refuses what it cannot work with
    } else {
        settleWindow(traits, settings);
    }
    settings.memory = vision::detail::memoryNeeded(settings.kind, settings.size, options.frames,
                                                   options.factor, options.threads);
    return settings;
}

}  // namespace oravo::capi
