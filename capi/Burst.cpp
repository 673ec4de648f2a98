#include "capi/Burst.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "capi/BurstCalls.h"
#include "capi/CameraDescription.h"
#include "support/CodeLocation.h"
#include "support/StopWatch.h"
#include "vision/superresolution/detail/memory/ReservedMemory.h"

oravo::capi::BurstError& oravo::capi::threadError() {
    thread_local BurstError error;
    return error;
}

namespace {

using oravo::capi::Burst;
using oravo::capi::BurstError;
using oravo::capi::BurstResult;
using oravo::capi::BurstSettings;
using oravo::capi::BurstTable;
using oravo::capi::errorOfException;
using oravo::capi::formatted;
using oravo::capi::kStale;
using oravo::capi::Occupation;
using oravo::capi::pipelineOf;
using oravo::capi::refuse;
using oravo::capi::threadError;
using oravo::capi::with;

/// Puts a frame that `read` makes of the caller's into the burst.
template <class Read>
int add(oravo_burst handle, Read read) {
    return with(handle, [&](Burst& burst) {
        const cv::Mat_<float>& frame = read(burst.frames);
        try {
            burst.engine->add(frame, burst.frames.held());
        } catch (...) {
            const BurstError error = errorOfException();
            burst.callbacks.warn(std::string("a frame was refused: ") + error.text);
            return burst.fail(error);
        }
        burst.frames.keep();
        burst.hasResult = false;
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

/// The reference counted back from the newest of the frames there are.
int settledReference(const Burst& burst, int reference) {
    const int held = static_cast<int>(burst.frames.held().size());
    const int own = oravo::vision::detail::traitsOf(burst.settings.kind).referenceIndex;
    return std::min(reference == ORAVO_BURST_OWN_REFERENCE ? own : reference, held - 1);
}

int checkReference(Burst& burst, int reference) {
    if (burst.frames.held().empty()) return refuse(burst, "No frames: at least one makes an image.");
    if (reference == ORAVO_BURST_OWN_REFERENCE) return ORAVO_BURST_OK;
    const int frames = burst.settings.options.frames;
    if (reference < 0 || reference >= frames)
        return refuse(
            burst, formatted("Reference %d is not from 0, the newest frame, to %d.", reference, frames - 1));
    const auto& traits = oravo::vision::detail::traitsOf(burst.settings.kind);
    if (!traits.choosesReference && reference != traits.referenceIndex)
        return refuse(burst, formatted("Reference %d: the %s pipeline always refers to the newest frame.",
                                       reference, traits.name));
    return ORAVO_BURST_OK;
}

/// Adds the figures that are the same for all pipelines, and logs the outcome of the run.
void conclude(Burst& burst, int reference, double seconds) {
    BurstResult& result = burst.result;
    const std::size_t count = result.frames.size();
    const auto used = std::count_if(result.frames.begin(), result.frames.end(),
                                    [](const oravo_burst_frame& frame) { return frame.used != 0; });
    const double common[] = {static_cast<double>(count), static_cast<double>(used),
                             static_cast<double>(count) - 1 - reference, seconds,
                             static_cast<double>(result.warnings.size())};
    const char* names[] = {"frames", "used_frames", "reference", "seconds", "warnings"};
    for (std::size_t i = 0; i < std::size(common); ++i) result.figures.push_back({names[i], common[i]});
    for (const std::string& warning : result.warnings) burst.callbacks.warn(warning);
    burst.callbacks.info(formatted("%s pipeline: image of %d of %zu frames in %.3f s", pipelineOf(burst),
                                   static_cast<int>(used), count, seconds));
}

/// Whether the burst may take what it would.
void requireMemory(const BurstSettings& settings) {
    const std::uint64_t most = settings.options.most_memory;
    if (most != 0 && settings.memory > most) {
        oravo::raise(oravo::ErrorKind::outOfMemory,
                     formatted("A burst of %d frames of %d x %d pixels takes up to %.1f MB; most_memory is "
                               "%.1f MB.",
                               settings.options.frames, settings.size.width, settings.size.height,
                               1e-6 * static_cast<double>(settings.memory), 1e-6 * static_cast<double>(most)),
                     {"capi/Burst", __LINE__, "oravo_burst_create"});
    }
    oravo::vision::detail::requireMemory(static_cast<std::size_t>(settings.memory));
}

BurstError latestError(oravo_burst handle) noexcept {
    if (handle == 0) return threadError();
    const std::shared_ptr<Burst> burst = BurstTable::instance().find(handle);
    if (burst) return burst->latestError();
    BurstError stale;
    stale.set(ORAVO_BURST_STALE, kStale);
    return stale;
}

}  // namespace

int oravo_burst_options_init(oravo_burst_options* options, size_t size) {
    if (options == nullptr || size < sizeof options->size)
        return threadError().set(ORAVO_BURST_ARGUMENT, "options is a null pointer, or size is too small.");
    oravo_burst_options built = oravo::capi::defaultBurstOptions();
    built.size = std::min(size, sizeof built);
    std::memcpy(options, &built, built.size);
    return ORAVO_BURST_OK;
}

float oravo_burst_camera_blur(const char* description) {
    try {
        return oravo::capi::psfSigmaOf(description != nullptr ? description : "");
    } catch (...) {
        return oravo::capi::defaultBurstOptions().psf_sigma;
    }
}

uint64_t oravo_burst_memory(int width, int height, const oravo_burst_options* options) {
    try {
        return oravo::capi::settledOptions(width, height, options).memory;
    } catch (...) {
        threadError() = errorOfException();
        return 0;
    }
}

oravo_burst oravo_burst_create(int width, int height, const oravo_burst_options* options) {
    try {
        const BurstSettings settings = oravo::capi::settledOptions(width, height, options);
        requireMemory(settings);
        auto burst = std::make_shared<Burst>(settings);
        burst->callbacks.info(
            formatted("burst of %d x %d pixels, %s pipeline, up to %d frames, at most %.1f MB", width, height,
                      oravo::vision::detail::traitsOf(settings.kind).name, settings.options.frames,
                      1e-6 * static_cast<double>(settings.memory)));
        return BurstTable::instance().add(std::move(burst));
    } catch (...) {
        threadError() = errorOfException();
        return 0;
    }
}

int oravo_burst_destroy(oravo_burst handle) {
    const std::shared_ptr<Burst> burst = BurstTable::instance().remove(handle);
    if (!burst) return threadError().set(ORAVO_BURST_STALE, kStale);
    burst->callbacks.end();
    return ORAVO_BURST_OK;
}

int oravo_burst_set_bad_pixels(oravo_burst handle, const unsigned char* mask, ptrdiff_t pitch) {
    return with(handle, [&](Burst& burst) {
        if (burst.settings.kind == oravo::vision::detail::PipelineKind::vector)
            return burst.fail(ORAVO_BURST_UNAVAILABLE, "The vector pipeline repairs no bad pixels.");
        burst.frames.setBadPixels(mask, pitch);
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_add(oravo_burst handle, const float* pixels, ptrdiff_t pitch) {
    return add(handle, [&](auto& frames) -> decltype(auto) { return frames.read(pixels, pitch); });
}

int oravo_burst_add_u16(oravo_burst handle, const uint16_t* counts, ptrdiff_t pitch, double scale,
                        double offset) {
    return add(handle, [&](auto& frames) -> decltype(auto) {
        return frames.read(counts, pitch, {scale, offset});
    });
}

int oravo_burst_add_i16(oravo_burst handle, const int16_t* counts, ptrdiff_t pitch, double scale,
                        double offset) {
    return add(handle, [&](auto& frames) -> decltype(auto) {
        return frames.read(counts, pitch, {scale, offset});
    });
}

int oravo_burst_frames(oravo_burst handle) {
    return with(handle, [](Burst& burst) { return static_cast<int>(burst.frames.held().size()); });
}

int oravo_burst_clear(oravo_burst handle) {
    return with(handle, [](Burst& burst) {
        burst.hasResult = false;
        burst.frames.clear();
        burst.engine->clear();
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_reconstruct(oravo_burst handle, int reference) {
    return with(handle, [&](Burst& burst) {
        const int valid = checkReference(burst, reference);
        if (valid != ORAVO_BURST_OK) return valid;
        burst.hasResult = false;
        burst.resultMasks.clear();
        burst.callbacks.begin();
        const Occupation running(burst.running);
        const int back = settledReference(burst, reference);
        oravo::StopWatch watch;
        burst.engine->run(burst.frames.held(), back, burst.result);
        conclude(burst, back, watch.stop());
        burst.hasResult = true;
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_cancel(oravo_burst handle) {
    const std::shared_ptr<Burst> burst = BurstTable::instance().find(handle);
    if (!burst) return threadError().set(ORAVO_BURST_STALE, kStale);
    if (burst->running) burst->callbacks.cancel();
    return ORAVO_BURST_OK;
}

int oravo_burst_image_size(oravo_burst handle, int* width, int* height) {
    return with(handle, [&](Burst& burst) {
        const BurstSettings& settings = burst.settings;
        if (width != nullptr) *width = settings.options.factor * settings.size.width;
        if (height != nullptr) *height = settings.options.factor * settings.size.height;
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_error_code(oravo_burst handle) {
    return latestError(handle).code;
}

const char* oravo_burst_error(oravo_burst handle) {
    thread_local BurstError shown;
    shown = latestError(handle);
    return shown.text;
}
