#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <opencv2/core.hpp>
#include <string>

#include "capi/BurstCalls.h"

namespace {

using oravo::capi::Burst;
using oravo::capi::BurstResult;
using oravo::capi::CallerRows;
using oravo::capi::formatted;
using oravo::capi::pipelineOf;
using oravo::capi::refuse;
using oravo::capi::withResult;
using Mask = cv::Mat_<unsigned char>;

int unavailable(Burst& burst, const std::string& what) {
    const std::string text =
        std::string("The ") + pipelineOf(burst) + " pipeline with these options does not give " + what + ".";
    return burst.fail(ORAVO_BURST_UNAVAILABLE, text.c_str());
}

template <class T>
int copyOut(const cv::Mat_<T>& image, T* out, ptrdiff_t pitch) {
    const std::size_t bytes = static_cast<std::size_t>(image.cols) * sizeof(T);
    const CallerRows rows(out, "out", pitch, bytes, image.rows);
    for (int y = 0; y < image.rows; ++y) std::memcpy(rows.writable(y), image[y], bytes);
    return ORAVO_BURST_OK;
}

int copyMap(oravo_burst handle, cv::Mat_<float> BurstResult::*map, const char* what, float* out,
            ptrdiff_t pitch) {
    return withResult(handle, out, [&](Burst& burst, const BurstResult& result) {
        if ((result.*map).empty()) return unavailable(burst, what);
        return copyOut(result.*map, out, pitch);
    });
}

const char* const kFigures[] = {"frames",        "used_frames",     "reference",
                                "seconds",       "warnings",        "contrast",
                                "noise",         "smoothness",      "withheld_error",
                                "bicubic_error", "withheld_pixels", "gain_db",
                                "trusted",       "leaning",         "share_on_reference",
                                "dead_pixels",   "resolution_gain", "registration_seconds",
                                "solver_seconds"};

/// How many frames agree at each pixel of the image.
cv::Mat_<float> agreement(const std::vector<Mask>& masks, int factor) {
    const cv::Size size = masks.front().size();
    cv::Mat_<float> counts(size, 0.0f), image(size * factor);
    for (const Mask& mask : masks) {
        std::transform(mask.begin(), mask.end(), counts.begin(), counts.begin(),
                       [](unsigned char agrees, float count) { return count + static_cast<float>(agrees); });
    }
    for (int y = 0; y < image.rows; ++y) {
        const float* from = counts[y / factor];
        float* to = image[y];
        for (int x = 0; x < size.width; ++x, to += factor) std::fill_n(to, factor, from[x]);
    }
    return image;
}

}  // namespace

int oravo_burst_image(oravo_burst handle, float* out, ptrdiff_t pitch) {
    return copyMap(handle, &BurstResult::image, "images", out, pitch);
}

int oravo_burst_deviation(oravo_burst handle, float* out, ptrdiff_t pitch) {
    return copyMap(handle, &BurstResult::deviation, "standard deviations", out, pitch);
}

int oravo_burst_weight(oravo_burst handle, float* out, ptrdiff_t pitch) {
    return withResult(handle, out, [&](Burst& burst, const BurstResult& result) {
        if (!result.weight.empty()) return copyOut(result.weight, out, pitch);
        if (burst.masks().empty()) return unavailable(burst, "weights");
        return copyOut(agreement(burst.masks(), burst.settings.options.factor), out, pitch);
    });
}

int oravo_burst_pattern(oravo_burst handle, float* out, ptrdiff_t pitch) {
    return withResult(handle, out, [&](Burst& burst, const BurstResult& result) {
        if (!result.knowsSensor) return unavailable(burst, "the sensor's pattern");
        if (!result.pattern.empty()) return copyOut(result.pattern, out, pitch);
        return copyOut(cv::Mat_<float>(burst.settings.size, 0.0f), out, pitch);
    });
}

int oravo_burst_dead_pixels(oravo_burst handle, unsigned char* out, ptrdiff_t pitch) {
    return withResult(handle, out, [&](Burst& burst, const BurstResult& result) {
        if (!result.knowsSensor) return unavailable(burst, "dead pixels");
        Mask dead(burst.settings.size, static_cast<unsigned char>(0));
        for (const cv::Point& pixel : result.deadPixels) dead(pixel) = 1;
        return copyOut(dead, out, pitch);
    });
}

int oravo_burst_mask(oravo_burst handle, int index, unsigned char* out, ptrdiff_t pitch) {
    return withResult(handle, out, [&](Burst& burst, const BurstResult&) {
        const std::vector<Mask>& masks = burst.masks();
        if (masks.empty()) return unavailable(burst, "where frames agree");
        if (index < 0 || index >= static_cast<int>(masks.size()))
            return refuse(burst, formatted("Index %d is not from 0 to %zu.", index, masks.size() - 1));
        return copyOut(masks[static_cast<std::size_t>(index)], out, pitch);
    });
}

int oravo_burst_frame_info(oravo_burst handle, int index, oravo_burst_frame* out, size_t size) {
    return withResult(handle, out, [&](Burst& burst, const BurstResult& result) {
        if (index < 0 || index >= static_cast<int>(result.frames.size()))
            return refuse(burst,
                          formatted("Index %d is not from 0 to %zu.", index, result.frames.size() - 1));
        const std::size_t place = static_cast<std::size_t>(index);
        oravo_burst_frame info = result.frames[place];
        if (result.weight.empty() && place < burst.masks().size())
            info.weight = cv::mean(burst.masks()[place])[0];
        std::memcpy(out, &info, std::min(size, sizeof info));
        return static_cast<int>(ORAVO_BURST_OK);
    });
}

int oravo_burst_figure(oravo_burst handle, const char* name, double* out) {
    return withResult(handle, out, [&](Burst& burst, const BurstResult& result) {
        if (name == nullptr) return refuse(burst, "The name is a null pointer.");
        for (const auto& figure : result.figures) {
            if (std::strcmp(figure.name, name) != 0) continue;
            *out = figure.value;
            return static_cast<int>(ORAVO_BURST_OK);
        }
        const auto isName = [name](const char* known) { return std::strcmp(known, name) == 0; };
        if (std::any_of(std::begin(kFigures), std::end(kFigures), isName)) return unavailable(burst, name);
        return refuse(burst, formatted("There is no figure \"%s\".", name));
    });
}

const char* oravo_burst_figure_name(int index) {
    return index >= 0 && index < static_cast<int>(std::size(kFigures)) ? kFigures[index] : nullptr;
}

int oravo_burst_warning(oravo_burst handle, int index, char* text, size_t size) {
    return withResult(handle, text, [&](Burst& burst, const BurstResult& result) {
        const auto count = static_cast<int>(result.warnings.size());
        if (index < 0 || index >= count)
            return refuse(burst, formatted("Index %d: the image has %d warnings.", index, count));
        if (size == 0) return refuse(burst, "size is 0; it has to be at least 1.");
        std::snprintf(text, size, "%s", result.warnings[static_cast<std::size_t>(index)].c_str());
        return static_cast<int>(ORAVO_BURST_OK);
    });
}
