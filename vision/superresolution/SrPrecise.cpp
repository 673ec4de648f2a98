#include "vision/superresolution/SrPrecise.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "support/CodeLocation.h"
#include "support/FloatBits.h"
#include "vision/superresolution/SuperResolutionBadPixelHandling.h"
#include "vision/superresolution/detail/defects/StatusCodes.h"
#include "vision/superresolution/detail/numerics/Threads.h"
#include "vision/superresolution/detail/precise/Reconstruction.h"
#include "vision/superresolution/detail/precise/Trust.h"

namespace oravo::vision {
namespace {

using detail::precise::BlurShape;
using detail::precise::FrameState;
using detail::precise::Motion;
using detail::precise::Reconstruction;
using detail::precise::ReconstructionOptions;

constexpr const char* kSource = "vision/superresolution/SrPrecise";
constexpr int kMostFactor = 4;
constexpr double kLeastSigma = 0.3, kMostSigma = 2.0;
constexpr float kMostBox = 2.0f;  // the whole of a pixel

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

void check(bool holds, const std::string& message, int line, const char* function) {
    if (!holds) raise(ErrorKind::badArgument, message, CodeLocation{kSource, line, function});
}

bool hasValue(float value, const SrPreciseOptions& options) {
    return !detail::isStatusCode(value) && value >= options.lowest && value <= options.highest;
}

/// The code of a pixel that no frame has a value for.
std::uint32_t codeFor(float value, const SrPreciseOptions& options) {
    if (detail::isStatusCode(value)) return bitsOf(value);
    if (value > options.highest) return CODE_OVER_RANGE;
    if (value < options.lowest) return CODE_UNDER_RANGE;
    return CODE_INVALID;
}

SrPreciseFrame describe(const FrameState& state, double contrast) {
    SrPreciseFrame frame;
    frame.used = state.used;
    if (!state.used) return frame;
    // p = q + t + A q, so q = (I + A)^-1 (p - t).
    const Motion& m = state.motion;
    const double determinant = (1.0 + m.axx) * (1.0 + m.ayy) - m.axy * m.ayx;
    const double inverse[2][2] = {{(1.0 + m.ayy) / determinant, -m.axy / determinant},
                                  {-m.ayx / determinant, (1.0 + m.axx) / determinant}};
    frame.dx = -(inverse[0][0] * m.tx + inverse[0][1] * m.ty);
    frame.dy = -(inverse[1][0] * m.tx + inverse[1][1] * m.ty);
    for (int i = 0; i < 2; ++i) {
        for (int j = 0; j < 2; ++j) frame.linear[i][j] = inverse[i][j] - (i == j ? 1.0 : 0.0);
    }
    frame.dxError = state.errors.x;
    frame.dyError = state.errors.y;
    frame.gain = state.gain;
    // Normalised values are (value - mean) / contrast on both sides.
    frame.offset = contrast * state.offset;
    frame.misfit = contrast * state.scale;
    double sum = 0.0;
    for (const float weight : state.weight) sum += weight;
    frame.weight = sum / static_cast<double>(state.weight.size());
    return frame;
}

ReconstructionOptions engineOptions(const SrPreciseOptions& given) {
    ReconstructionOptions options;
    options.factor = given.factor;
    const double scale = 0.5 * given.factor;
    options.blur = {scale * static_cast<double>(given.psfSigma), scale * static_cast<double>(given.psfBox)};
    options.strength = given.smoothness;
    options.findDeadPixels = given.findDeadPixels;
    options.findPattern = given.findPattern;
    options.deviation = given.deviation;
    options.threads = detail::Threads(given.threads);
    options.progress = given.progress;
    return options;
}

/// A frame as the engine takes it: dense values, and a mask that is 1 where there is a value.
struct MaskedFrame {
    MaskedFrame(const cv::Mat_<float>& frame, const SrPreciseOptions& options)
        : values(frame.total()), present(frame.total()) {
        std::size_t q = 0;
        for (int y = 0; y < frame.rows; ++y) {
            for (int x = 0; x < frame.cols; ++x, ++q) {
                const bool valid = hasValue(frame(y, x), options);
                values[q] = valid ? frame(y, x) : 0.0f;
                present[q] = valid ? 1.0f : 0.0f;
                isEmpty &= !valid;
            }
        }
    }

    std::vector<float> values, present;
    bool isEmpty = true;
};

/// Where no frame has a value, writes the code of the reference's pixel.
void writeCodes(cv::Mat_<float>& image, const cv::Mat_<float>& reference, const SrPreciseOptions& options) {
    for (int y = 0; y < image.rows; ++y) {
        for (int x = 0; x < image.cols; ++x) {
            float& value = image(y, x);
            if (std::isnan(value))
                value = floatOf(codeFor(reference(y / options.factor, x / options.factor), options));
        }
    }
}

SrPreciseResult resultOf(const Reconstruction& run, const cv::Mat_<float>& reference,
                         const SrPreciseOptions& options) {
    SrPreciseResult result;
    const cv::Size size = reference.size() * options.factor;
    result.image.create(size);
    result.weight.create(size);
    run.copyImage(result.image[0]);
    run.copyWeight(result.weight[0]);
    if (options.deviation) {
        result.deviation.create(size);
        run.copyDeviation(result.deviation[0]);
    }
    writeCodes(result.image, reference, options);
    for (const FrameState& state : run.frames()) result.frames.push_back(describe(state, run.contrast()));
    const auto width = static_cast<std::size_t>(reference.cols);
    for (const std::size_t q : run.deadPixels()) {
        result.deadPixels.emplace_back(static_cast<int>(q % width), static_cast<int>(q / width));
    }
    if (run.pattern().size() != 0) {
        result.pattern.create(reference.size());
        std::transform(run.pattern().begin(), run.pattern().end(), result.pattern.begin(),
                       [&](float value) { return static_cast<float>(run.contrast() * value); });
    }
    result.contrast = run.contrast();
    result.noise = run.noise();
    result.smoothness = run.withheld().strength;
    result.withheldError = run.contrast() * run.withheld().error;
    result.bicubicError = run.contrast() * run.withheld().bicubicError;
    result.withheldPixels = run.withheld().pixels;
    result.movement = run.movement();
    result.sceneMoves = run.sceneMoves();
    result.gain = run.gain();
    result.leaning = run.leaning();
    result.shareOnReference = run.shareOnReference();
    result.trusted =
        result.usedFrames() > 1 && result.gain > 0.0 && result.leaning < detail::precise::kMostLeaning;
    return result;
}

/// Indices of a frame's pixels, ascending, each once.
std::vector<std::size_t> indicesOf(const std::vector<cv::Point>& points, int width, int height) {
    std::vector<std::size_t> pixels;
    for (const cv::Point at : points) {
        check(at.x >= 0 && at.x < width && at.y >= 0 && at.y < height,
              "Known dead pixel (" + std::to_string(at.x) + ", " + std::to_string(at.y) +
                  ") lies outside frames of " + std::to_string(width) + " x " + std::to_string(height) +
                  " pixels.",
              __LINE__, "oravo::vision::SrPrecise::compute");
        pixels.push_back(static_cast<std::size_t>(at.y) * static_cast<std::size_t>(width) +
                         static_cast<std::size_t>(at.x));
    }
    std::sort(pixels.begin(), pixels.end());
    pixels.erase(std::unique(pixels.begin(), pixels.end()), pixels.end());
    return pixels;
}

}  // namespace

SrPrecise::SrPrecise(int width, int height, const SrPreciseOptions& options)
    : width_(width), height_(height), options_(options) {
    constexpr const char* kWhere = "oravo::vision::SrPrecise::SrPrecise";
    check(width >= kMinSide && height >= kMinSide,
          "Frames of " + std::to_string(width) + " x " + std::to_string(height) +
              " pixels: each side has to be at least " + std::to_string(kMinSide) + ".",
          __LINE__, kWhere);
    check(
        options.factor >= 1 && options.factor <= kMostFactor,
        "Factor " + std::to_string(options.factor) + " is not from 1 to " + std::to_string(kMostFactor) + ".",
        __LINE__, kWhere);
    static_assert(kMaxThreads == detail::Threads::kMost, "as many as there can be");
    check(options.threads >= 0 && options.threads <= kMaxThreads,
          "Number of threads " + std::to_string(options.threads) + " is not from 0 to " +
              std::to_string(kMaxThreads) + ".",
          __LINE__, kWhere);
    const double columns = static_cast<double>(options.factor) * width,
                 rows = static_cast<double>(options.factor) * height;
    check(columns * rows < 0.5 * std::numeric_limits<int>::max(),
          "An image of " + number(columns) + " x " + number(rows) + " pixels is too large.", __LINE__,
          kWhere);
    const double unit = 2.0 / options.factor;  // of the blur in pixels of the image
    check(options.psfBox >= 0.0f && options.psfBox <= kMostBox,
          "Pixel side of " + number(options.psfBox) + " is not from 0 to " + number(kMostBox) + ".", __LINE__,
          kWhere);
    // A square blurs by itself, so that optics may be as sharp as they like.
    const double spread = BlurShape(options.psfSigma, options.psfBox).spread();
    check(options.psfSigma >= 0.0f && spread >= unit * kLeastSigma && spread <= unit * kMostSigma,
          "Blur of " + number(options.psfBox > 0.0f ? spread : options.psfSigma) + " pixels is not from " +
              number(unit * kLeastSigma) + " to " + number(unit * kMostSigma) + ".",
          __LINE__, kWhere);
    check(options.lowest < options.highest,
          "Lowest value " + number(options.lowest) + " is not below the highest, " + number(options.highest) +
              ".",
          __LINE__, kWhere);
    check(options.smoothness >= 0.0 && std::isfinite(options.smoothness),
          "Smoothness " + number(options.smoothness) + " is not a number from 0 on.", __LINE__, kWhere);
}

SrPreciseResult SrPrecise::compute(const std::vector<cv::Mat_<float>>& frames, int reference) const {
    return compute(frames, reference, {});
}

SrPreciseResult SrPrecise::compute(const std::vector<cv::Mat_<float>>& frames, int reference,
                                   const std::vector<cv::Point>& known) const {
    constexpr const char* kWhere = "oravo::vision::SrPrecise::compute";
    const int count = static_cast<int>(frames.size());
    check(count >= 1 && frames.size() <= kMaxFrames,
          std::to_string(frames.size()) + " frames: 1 to " + std::to_string(kMaxFrames) + " make an image.",
          __LINE__, kWhere);
    check(reference >= 0 && reference < count,
          "Reference frame " + std::to_string(reference) + " is not one of " + std::to_string(count) +
              " frames.",
          __LINE__, kWhere);
    Reconstruction run(width_, height_, engineOptions(options_));
    for (int k = 0; k < count; ++k) {
        const cv::Mat_<float>& frame = frames[static_cast<std::size_t>(k)];
        check(frame.rows == height_ && frame.cols == width_,
              "Frame " + std::to_string(k) + " is " + std::to_string(frame.cols) + " x " +
                  std::to_string(frame.rows) + " pixels, not " + std::to_string(width_) + " x " +
                  std::to_string(height_) + ".",
              __LINE__, kWhere);
        const MaskedFrame masked(frame, options_);
        check(!masked.isEmpty || k != reference,
              "The reference frame has no value in [" + number(options_.lowest) + ", " +
                  number(options_.highest) + "].",
              __LINE__, kWhere);
        run.addFrame(masked.values.data(), masked.present.data());
    }
    run.setKnownDead(indicesOf(known, width_, height_));
    try {
        run.run(reference);
    } catch (const detail::precise::Cancelled&) {
        raise(ErrorKind::cancelled, kCancelled, {kSource, __LINE__, kWhere});
    }
    return resultOf(run, frames[static_cast<std::size_t>(reference)], options_);
}

}  // namespace oravo::vision
