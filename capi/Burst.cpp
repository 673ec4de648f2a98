#include "capi/Burst.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "capi/BurstTable.h"
#include "support/Exception.h"

namespace {

using oravo::capi::Burst;
using oravo::capi::BurstTable;
using oravo::vision::SrPrecise;
using oravo::vision::SrPreciseOptions;
using oravo::vision::SrPreciseResult;

/// Never destroyed: hosts may close bursts in destructors of their globals and in atexit handlers.
BurstTable& bursts() {
    alignas(BurstTable) static unsigned char place[sizeof(BurstTable)];
    static BurstTable* const table = new (place) BurstTable();
    return *table;
}

/// The error of calls without a burst that could hold it.
std::string& threadError() {
    thread_local std::string text;
    return text;
}

/// Sets an error, which stays empty when there is no memory left for it.
int fail(std::string& error, int status, const char* text) noexcept {
    try {
        error = text;
    } catch (...) {
        error.clear();
    }
    return status;
}

int failedBy(const oravo::Exception& exception, std::string& error) noexcept {
    using Kind = oravo::Exception::Kind;
    if (exception.kind() == Kind::cancelled) {
        return fail(error, ORAVO_BURST_CANCELLED, "cancelled by the progress callback");
    }
    const int status = exception.kind() == Kind::outOfMemory ? ORAVO_BURST_MEMORY : ORAVO_BURST_ARGUMENT;
    return fail(error, status, exception.message().c_str());
}

/// The status of the exception that is being handled.
int failedBy(std::string& error) noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return fail(error, ORAVO_BURST_MEMORY, "out of memory");
    } catch (const oravo::Exception& exception) {
        return failedBy(exception, error);
    } catch (const std::exception& exception) {
        return fail(error, ORAVO_BURST_FAILED, exception.what());
    } catch (...) {
        return fail(error, ORAVO_BURST_FAILED, "unknown error");
    }
}

/// Runs work on a burst; a failure becomes the burst's error.
template <class Work>
int with(oravo_burst handle, Work work) noexcept {
    const std::shared_ptr<Burst> burst = bursts().find(handle);
    if (!burst) return fail(threadError(), ORAVO_BURST_STALE, "there is no such burst, or it was destroyed");
    try {
        return work(*burst);
    } catch (...) {
        return failedBy(burst->error);
    }
}

/// Runs work on a burst's result, and on an output that may not be null.
template <class Out, class Work>
int withResult(oravo_burst handle, Out* out, Work work) noexcept {
    return with(handle, [&](Burst& burst) {
        if (out == nullptr) return fail(burst.error, ORAVO_BURST_ARGUMENT, "the output is a null pointer");
        if (!burst.result) return fail(burst.error, ORAVO_BURST_NO_RESULT, "nothing was reconstructed yet");
        return work(burst, *burst.result);
    });
}

void copyOut(const cv::Mat_<float>& image, float* out) {
    std::memcpy(out, image[0], image.total() * sizeof(float));
}

oravo_burst_options defaults() {
    const SrPreciseOptions built;
    return {sizeof(oravo_burst_options),
            built.factor,
            built.psfSigma,
            built.lowest,
            built.highest,
            built.smoothness,
            built.findDeadPixels,
            built.findPattern,
            built.deviation,
            nullptr,
            nullptr};
}

/// The options given, of which the caller's header may know only the first ones.
SrPreciseOptions optionsFrom(const oravo_burst_options* given) {
    oravo_burst_options options = defaults();
    if (given != nullptr) std::memcpy(&options, given, std::min(given->size, sizeof options));
    SrPreciseOptions built;
    built.factor = options.factor;
    built.psfSigma = options.psf_sigma;
    built.lowest = options.lowest;
    built.highest = options.highest;
    built.smoothness = options.smoothness;
    built.findDeadPixels = options.find_dead_pixels != 0;
    built.findPattern = options.find_pattern != 0;
    built.deviation = options.deviation != 0;
    if (options.progress != nullptr) {
        built.progress = [call = options.progress, user = options.user](double share) {
            return call(share, user) != 0;
        };
    }
    return built;
}

double usedFrames(const SrPreciseResult& result) {
    return static_cast<double>(std::count_if(result.frames.begin(), result.frames.end(),
                                             [](const auto& frame) { return frame.used; }));
}

struct Figure {
    const char* name;
    double (*of)(const SrPreciseResult&);
};

const Figure kFigures[] = {
    {"frames", [](const SrPreciseResult& r) { return static_cast<double>(r.frames.size()); }},
    {"used_frames", usedFrames},
    {"contrast", [](const SrPreciseResult& r) { return r.contrast; }},
    {"noise", [](const SrPreciseResult& r) { return r.noise; }},
    {"smoothness", [](const SrPreciseResult& r) { return r.smoothness; }},
    {"withheld_error", [](const SrPreciseResult& r) { return r.withheldError; }},
    {"bicubic_error", [](const SrPreciseResult& r) { return r.bicubicError; }},
    {"withheld_pixels", [](const SrPreciseResult& r) { return static_cast<double>(r.withheldPixels); }},
    {"gain_db", [](const SrPreciseResult& r) { return r.gain; }},
    {"trusted", [](const SrPreciseResult& r) { return r.trusted ? 1.0 : 0.0; }},
    {"leaning", [](const SrPreciseResult& r) { return r.leaning; }},
    {"share_on_reference", [](const SrPreciseResult& r) { return r.shareOnReference; }},
    {"dead_pixels", [](const SrPreciseResult& r) { return static_cast<double>(r.deadPixels.size()); }},
};

}  // namespace

int oravo_burst_options_init(oravo_burst_options* options, size_t size) {
    if (options == nullptr || size < sizeof options->size) {
        return fail(threadError(), ORAVO_BURST_ARGUMENT,
                    "options is a null pointer, or its size is too small");
    }
    oravo_burst_options built = defaults();
    built.size = std::min(size, sizeof built);
    std::memcpy(options, &built, built.size);
    return ORAVO_BURST_OK;
}

oravo_burst oravo_burst_create(int width, int height, const oravo_burst_options* options) {
    if (options != nullptr && options->size < sizeof options->size) {
        fail(threadError(), ORAVO_BURST_ARGUMENT, "options were not filled by oravo_burst_options_init()");
        return 0;
    }
    try {
        return bursts().add(std::make_shared<Burst>(SrPrecise(width, height, optionsFrom(options))));
    } catch (...) {
        failedBy(threadError());
        return 0;
    }
}

int oravo_burst_add(oravo_burst handle, const float* pixels, ptrdiff_t pitch) {
    return with(handle, [&](Burst& burst) {
        if (pixels == nullptr) return fail(burst.error, ORAVO_BURST_ARGUMENT, "pixels is a null pointer");
        const int width = burst.engine.width(), height = burst.engine.height();
        const ptrdiff_t row = static_cast<ptrdiff_t>(sizeof(float)) * width;
        if (pitch != 0 && pitch < row) {
            const std::string text =
                "a pitch of " + std::to_string(pitch) + " bytes is less than a row's " + std::to_string(row);
            return fail(burst.error, ORAVO_BURST_ARGUMENT, text.c_str());
        }
        if (burst.frames.size() == SrPrecise::kMaxFrames) {
            return fail(burst.error, ORAVO_BURST_ARGUMENT, "there are 64 frames already");
        }
        cv::Mat_<float> frame(height, width);
        const char* from = reinterpret_cast<const char*>(pixels);
        for (int y = 0; y < height; ++y) {
            std::memcpy(frame[y], from + y * (pitch != 0 ? pitch : row), static_cast<std::size_t>(row));
        }
        burst.frames.push_back(frame);
        burst.result.reset();
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_clear(oravo_burst handle) {
    return with(handle, [](Burst& burst) {
        burst.frames.clear();
        burst.result.reset();
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_reconstruct(oravo_burst handle, int reference) {
    return with(handle, [&](Burst& burst) {
        burst.result.reset();
        burst.result = burst.engine.compute(burst.frames, reference);
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_image(oravo_burst handle, float* out) {
    return withResult(handle, out, [out](Burst&, const SrPreciseResult& result) {
        copyOut(result.image, out);
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_deviation(oravo_burst handle, float* out) {
    return withResult(handle, out, [out](Burst& burst, const SrPreciseResult& result) {
        if (result.deviation.empty()) {
            return fail(burst.error, ORAVO_BURST_NO_RESULT, "standard deviations were not requested");
        }
        copyOut(result.deviation, out);
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_weight(oravo_burst handle, float* out) {
    return withResult(handle, out, [out](Burst&, const SrPreciseResult& result) {
        copyOut(result.weight, out);
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_pattern(oravo_burst handle, float* out) {
    return withResult(handle, out, [out](Burst& burst, const SrPreciseResult& result) {
        if (result.pattern.empty()) {
            std::fill_n(out,
                        static_cast<std::size_t>(burst.engine.width()) *
                            static_cast<std::size_t>(burst.engine.height()),
                        0.0f);
        } else {
            copyOut(result.pattern, out);
        }
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_dead_pixels(oravo_burst handle, unsigned char* out) {
    return withResult(handle, out, [out](Burst& burst, const SrPreciseResult& result) {
        const std::size_t width = static_cast<std::size_t>(burst.engine.width());
        std::fill_n(out, width * static_cast<std::size_t>(burst.engine.height()),
                    static_cast<unsigned char>(0));
        for (const cv::Point& pixel : result.deadPixels) {
            out[static_cast<std::size_t>(pixel.y) * width + static_cast<std::size_t>(pixel.x)] = 1;
        }
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_frame_info(oravo_burst handle, int index, oravo_burst_frame* out) {
    return withResult(handle, out, [&](Burst& burst, const SrPreciseResult& result) {
        if (index < 0 || index >= static_cast<int>(result.frames.size())) {
            const std::string text = "there is no frame " + std::to_string(index) + " among " +
                                     std::to_string(result.frames.size());
            return fail(burst.error, ORAVO_BURST_ARGUMENT, text.c_str());
        }
        const auto& frame = result.frames[static_cast<std::size_t>(index)];
        *out = {
            frame.used,    frame.dx,
            frame.dy,      frame.dxError,
            frame.dyError, {frame.linear[0][0], frame.linear[0][1], frame.linear[1][0], frame.linear[1][1]},
            frame.gain,    frame.offset,
            frame.misfit,  frame.weight};
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_figure(oravo_burst handle, const char* name, double* out) {
    return withResult(handle, out, [&](Burst& burst, const SrPreciseResult& result) {
        if (name == nullptr) return fail(burst.error, ORAVO_BURST_ARGUMENT, "the name is a null pointer");
        for (const Figure& figure : kFigures) {
            if (std::strcmp(figure.name, name) != 0) continue;
            *out = figure.of(result);
            return static_cast<int>(ORAVO_BURST_OK);
        }
        return fail(burst.error, ORAVO_BURST_ARGUMENT,
                    ("there is no figure \"" + std::string(name) + "\"").c_str());
    });
}

const char* oravo_burst_error(oravo_burst handle) {
    const std::shared_ptr<Burst> burst = bursts().find(handle);
    return burst ? burst->error.c_str() : threadError().c_str();
}

int oravo_burst_destroy(oravo_burst handle) {
    if (bursts().remove(handle)) return ORAVO_BURST_OK;
    return fail(threadError(), ORAVO_BURST_STALE, "there is no such burst, or it was destroyed");
}
