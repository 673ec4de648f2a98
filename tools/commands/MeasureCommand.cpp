#include "tools/commands/MeasureCommand.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <nlohmann/json.hpp>

#include "tools/base/Messages.h"
#include "tools/base/Progress.h"
#include "tools/base/UserError.h"
#include "tools/measure/BlurMeter.h"
#include "tools/output/ImageWriter.h"
#include "tools/pictures/BlurPicture.h"

namespace oravo::tools {
namespace {

// The options that take the blur count in pixels of an image of twice the frames' size.
constexpr double kPerFramePixel = 2.0;
constexpr double kLeastSigma = 0.3, kMostSigma = 2.0;  // of those options, in the precise pipeline
constexpr double kMostMisfit = 0.02;                   // of an edge's height, beyond noise
constexpr double kMostContrast = 1.1;                  // of a wave that no optics could have raised
constexpr double kMostError = 0.05;                    // of the blur
constexpr int kSmallest = 16;                          // pixels, of a region
constexpr int kFrequencies = 40;                       // of the table, from 0 to 1 cycle per pixel

cv::Rect regionOf(const MeasureBlurCommand& command, cv::Size frame) {
    const cv::Rect region = *command.region;
    if (region.br().x > frame.width || region.br().y > frame.height) {
        throw inputError(format("--region %dx%d+%d+%d: reaches beyond frames of %d x %d pixels", region.width,
                                region.height, region.x, region.y, frame.width, frame.height));
    }
    if (std::min(region.width, region.height) < kSmallest) {
        throw UserError(
            ExitCode::kUsage,
            format("--region %dx%d+%d+%d: is too small for an edge and what is beside it; %d x %d "
                   "pixels are the least",
                   region.width, region.height, region.x, region.y, kSmallest, kSmallest));
    }
    return region;
}

cv::Mat_<float> valuesOf(const cv::Mat& stored, const Decode& decode, const std::string& name) {
    cv::Mat_<float> values = decode(stored, name);
    for (float& value : values) {
        if (!isValue(value)) value = std::numeric_limits<float>::quiet_NaN();
    }
    return values;
}

BlurMeasurement measureFrames(const MeasureBlurCommand& command, FrameReader& reader) {
    const cv::Size size = reader.first().size();
    if (std::min(size.width, size.height) < kSmallest) {
        throw inputError(
            format("%s: frames of %d x %d pixels are too small for an edge and what is beside it",
                   reader.name(0).c_str(), size.width, size.height));
    }
    std::optional<cv::Rect> region;
    if (command.region) region = regionOf(command, size);
    BlurMeter meter(region);
    Progress progress("frame", reader.count());
    std::string firstReason;
    std::size_t refused = 0;
    for (std::size_t i = 0; i < reader.count(); ++i) {
        const std::string name = reader.name(i);
        const std::string reason = meter.add(valuesOf(reader.read(i), command.decode, name));
        if (!reason.empty() && refused++ == 0)
            firstReason = name + ": " + (region ? "the region " : "") + reason;
        progress.done(i + 1);
    }
    if (refused == reader.count()) throw inputError(firstReason);
    if (refused > 0) warn(format("%zu of %zu frames are left out; ", refused, reader.count()) + firstReason);
    return meter.result();
}

/// The frequency at which the transfer falls to a share for the first time; 0 where it never does.
double frequencyAt(const EdgeSpread& spread, double share) {
    constexpr int kSteps = 400;
    double before = 1.0;
    for (int i = 1; i <= kSteps; ++i) {
        const double f = static_cast<double>(i) / kSteps, here = spread.transfer(f);
        if (here < share) return f - (share - here) / (before - here) / kSteps;
        before = here;
    }
    return 0.0;
}

double mostTransfer(const EdgeSpread& spread) {
    double most = 1.0;
    for (int i = 1; 2 * i <= kFrequencies; ++i)
        most = std::max(most, spread.transfer(static_cast<double>(i) / kFrequencies));
    return most;
}

std::vector<std::string> doubtsAbout(const BlurMeasurement& m) {
    std::vector<std::string> doubts;
    const BlurModel& best = m.best();
    const bool unlike = best.misfit > kMostMisfit;
    if (const double most = mostTransfer(m.spread); unlike && most > kMostContrast) {
        doubts.push_back(
            format("the camera sharpens its frames: waves come out with up to %.2f times their contrast; "
                   "switch that off, or no Gaussian describes the blur",
                   most));
    } else if (unlike) {
        doubts.push_back(
            format("the edge does not look like a blurred sharp one, by %.1f %% of its height: is the target "
                   "sharp and in focus, and did nothing move?",
                   100.0 * best.misfit));
    }
    if (best.spreadError() > kMostError * best.spread()) {
        doubts.push_back(
            format("the blur is known to %.0f %% only; take more frames, a longer edge or more contrast",
                   100.0 * best.spreadError() / best.spread()));
    }
    const double sigma = kPerFramePixel * m.gaussian.spread();
    if (sigma < kLeastSigma || sigma > kMostSigma) {
        doubts.push_back(
            format("the precise pipeline takes --psf-sigma %g to %g; %s", kLeastSigma, kMostSigma,
                   sigma > kMostSigma ? "is the camera in focus?" : "the frames alias strongly"));
    }
    return doubts;
}

/// The options of enhance that describe this blur.
std::string optionsFor(const BlurModel& model) {
    const std::string sigma = format("--psf-sigma %.3f", kPerFramePixel * model.optics);
    return model.pixel > 0.0 ? sigma + format(" --psf-box %g", kPerFramePixel * model.pixel) : sigma;
}

nlohmann::ordered_json modelInJson(const BlurModel& model) {
    return {{"pixel", model.pixel},
            {"optics", model.optics},
            {"optics_error", model.error},
            {"spread", model.spread()},
            {"spread_error", model.spreadError()},
            {"misfit", model.misfit}};
}

std::string asJson(const BlurMeasurement& m, const std::vector<std::string>& doubts) {
    nlohmann::ordered_json frequencies = nlohmann::ordered_json::array(), values = frequencies;
    for (int i = 0; i <= kFrequencies; ++i) {
        const double f = static_cast<double>(i) / kFrequencies;
        frequencies.push_back(f);
        values.push_back(m.spread.transfer(f));
    }
    const MeasuredEdge& e = m.edge;
    const double half = frequencyAt(m.spread, 0.5);
    const nlohmann::ordered_json all = {
        {"psf_sigma", kPerFramePixel * m.gaussian.spread()},
        {"psf_sigma_error", kPerFramePixel * m.gaussian.spreadError()},
        {"options", optionsFor(m.best())},
        {"better_model", m.boxFitsBetter ? "box_and_optics" : "gaussian"},
        {"gaussian", modelInJson(m.gaussian)},
        {"box_and_optics", m.box.pixel > 0.0 ? modelInJson(m.box) : nlohmann::ordered_json(nullptr)},
        {"mtf50", half > 0.0 ? nlohmann::ordered_json(half) : nlohmann::ordered_json(nullptr)},
        {"mtf_at_nyquist", m.spread.transfer(0.5)},
        {"mtf", {{"frequency", frequencies}, {"value", values}}},
        {"edge",
         {{"region", {e.region.x, e.region.y, e.region.width, e.region.height}},
          {"along", e.alongRows ? "rows" : "columns"},
          {"degrees", e.degrees},
          {"low", e.low},
          {"high", e.high},
          {"noise", e.noise},
          {"curvature", e.sagitta}}},
        {"frames", m.frames},
        {"frames_used", m.used},
        {"warnings", doubts}};
    return all.dump(2) + "\n";
}

std::string modelInWords(const char* name, const BlurModel& model) {
    return format("%-8s  %.4f +- %.4f pixels of the frames, %.2f %% of the height off the edge: ", name,
                  model.spread(), model.spreadError(), 100.0 * model.misfit) +
           optionsFor(model) + "\n";
}

std::string inWords(const BlurMeasurement& m) {
    const MeasuredEdge& e = m.edge;
    std::string text = format(
        "edge      %dx%d+%d+%d: %.1f degrees off the %s, from %.6g to %.6g, noise %.2g %% of that; %d of %d "
        "frame%s\n",
        e.region.width, e.region.height, e.region.x, e.region.y, e.degrees, e.alongRows ? "rows" : "columns",
        e.low, e.high, 100.0 * e.noise / (e.high - e.low), m.used, m.frames, m.frames == 1 ? "" : "s");
    const double half = frequencyAt(m.spread, 0.5);
    text += format("transfer  %.0f %% at the finest detail of a frame (0.5 cycles per pixel)",
                   100.0 * m.spread.transfer(0.5));
    text += half > 0.0 ? format(", 50 %% at %.3f cycles per pixel\n", half) : "\n";
    text += modelInWords("Gaussian", m.gaussian);
    if (m.box.pixel > 0.0) text += modelInWords("square", m.box);
    return text + optionsFor(m.best()) + "\n";
}

}  // namespace

void measureBlur(const MeasureBlurCommand& asked) {
    MeasureBlurCommand command = asked;
    if (!command.picture.empty()) checkTarget(command.picture, {".png"});
    FrameReader reader(command.inputs, command.reading);
    command.decode = reader.decodeOf(command.decode);
    if (!command.picture.empty() && reader.readsFrom(command.picture))
        throw outputError(command.picture + ": is one of the inputs");
    const BlurMeasurement measured = measureFrames(command, reader);
    const std::vector<std::string> doubts = doubtsAbout(measured);
    for (const std::string& doubt : doubts) warn(doubt);
    if (!command.picture.empty()) writeImage(command.picture, drawBlur(measured));
    // Printed only where all of it worked.
    std::cout << (command.json ? asJson(measured, doubts) : inWords(measured));
}

}  // namespace oravo::tools
