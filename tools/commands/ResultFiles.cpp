#include "tools/commands/ResultFiles.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <regex>
#include <set>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/ReportFacts.h"
#include "tools/measure/Agreement.h"
#include "tools/measure/Metrics.h"
#include "tools/output/ImageWriter.h"
#include "tools/pictures/Preview.h"

namespace oravo::tools {
namespace {

constexpr double kLeastShare = 0.5;  // of valid pixels, below which the library warns

bool isPicture(const std::string& path) {
    return lowerExtension(path) == ".png";
}

cv::Mat pictureOf(const cv::Mat_<float>& noise, const std::string& unit, const char* caption) {
    constexpr double kClipped = 1.0;  // percent: a few edges would hide the rest
    const ColourScale scale = ColourScale::of(noise, paletteNamed("inferno"), kClipped);
    return Preview{scale, unit, caption, false}.draw(noise);
}

/// Of the image itself where the pipeline estimates it, else of the frames around it.
cv::Mat_<float> deviationOf(const Enlarged& enlarged) {
    if (enlarged.precise) return enlarged.precise->deviation;
    return noiseMapOf({enlarged.inputs, enlarged.shifts, enlarged.masks}, enlarged.image,
                      enlarged.parameters.psfSigma);
}

}  // namespace

std::pair<double, double> parseRange(const std::string& text) {
    static const std::regex pattern("([-+0-9.eE]{1,40}):([-+0-9.eE]{1,40})");
    std::smatch parts;
    if (std::regex_match(text, parts, pattern)) {
        char* lowEnd = nullptr;
        char* highEnd = nullptr;
        const std::string lowText = parts[1];
        const std::string highText = parts[2];
        const double low = std::strtod(lowText.c_str(), &lowEnd);
        const double high = std::strtod(highText.c_str(), &highEnd);
        const bool read = *lowEnd == '\0' && *highEnd == '\0';
        if (read && std::isfinite(low) && std::isfinite(high) && low < high) return {low, high};
    }
    throw UserError(ExitCode::kUsage, "--range " + text + ": is not LOW:HIGH, such as -5:40");
}

ResultFiles::ResultFiles(const EnhanceCommand& command, const InputFiles& inputs, const Findings& findings)
    : command_(command),
      options_(command.results),
      reader_(inputs.frames),
      findings_(findings),
      unit_(unitOf(command)) {
    std::set<std::filesystem::path> taken{settledPath(command.output), settledPath(command.shiftsFile)};
    const auto check = [&](const std::string& path, const std::vector<std::string>& extensions) {
        if (!wants(path)) return;
        checkTarget(path, extensions);
        if (!taken.insert(settledPath(path)).second) throw outputError(path + ": is named for two outputs");
        if (inputs.contain(path)) throw outputError(path + ": is one of the inputs");
    };
    if (wants(options_.coverage) && command.parameters.kind == PipelineKind::vector) {
        throw UserError(ExitCode::kUsage,
                        "--coverage: the vector pipeline does not tell which pixels of a frame agree");
    }
    check(options_.preview, {".png"});
    check(options_.coverage, {".tif", ".tiff", ".png"});
    check(options_.noiseMap, {".tif", ".tiff", ".png"});
    for (const std::string& path : options_.reports) check(path, {".json", ".html", ".htm"});
}

void ResultFiles::take(const Enlarged& enlarged) {
    last_ = enlarged;
    images_.push_back({enlarged.newest, static_cast<double>(enlarged.gain),
                       enlarged.precise ? decibelsOverBicubic(*enlarged.precise) : std::nullopt,
                       enlarged.warning, enlarged.withoutValue, enlarged.seconds});
}

ColourScale ResultFiles::scaleOf(const cv::Mat_<float>& image) const {
    const Palette palette = paletteNamed(options_.palette);
    if (!options_.range) return ColourScale::withoutOutliers(image, palette);
    return ColourScale::within(options_.range->first, options_.range->second, image, palette);
}

void ResultFiles::write(PendingFiles& files, const OutOfRange& outside) const {
    if (wants(options_.preview)) {
        writeImage(files, options_.preview, Preview{scaleOf(last_.image), unit_, "", true}.draw(last_.image));
    }
    if (wants(options_.coverage)) {
        const int frames = static_cast<int>(last_.frames.size());
        writeImage(files, options_.coverage,
                   isPicture(options_.coverage) ? drawCoverage(coverage(), frames) : cv::Mat(coverage()));
    }
    if (!wants(options_.noiseMap) && options_.reports.empty()) return;

    const cv::Mat_<float> noise = deviationOf(last_);
    if (wants(options_.noiseMap)) {
        const char* caption = last_.precise ? "Standard deviation of the image at each pixel"
                                            : "Noise of the frames at each pixel (standard deviation)";
        writeImage(files, options_.noiseMap,
                   isPicture(options_.noiseMap) ? pictureOf(noise, unit_, caption) : cv::Mat(noise));
    }
    if (options_.reports.empty()) return;
    const Report all = report(noise, outside);
    for (const std::string& path : options_.reports) {
        writeText(files, path, lowerExtension(path) == ".json" ? jsonReport(all) : htmlReport(all));
    }
}

std::vector<ReportedFrame> ResultFiles::frames() const {
    std::vector<ReportedFrame> all;
    for (std::size_t i = 0; i < last_.frames.size(); ++i) {
        ReportedFrame frame{
            last_.frames[i], reader_.name(last_.frames[i]), last_.shifts[i], std::nan(""), "used", {}};
        if (last_.precise) {
            frame.fit = last_.precise->frames[i];
            frame.validShare = frame.fit->weight;
        } else if (!last_.masks.empty()) {
            frame.validShare = validShare(last_.masks[i]);
        }
        if (frame.number == last_.reference) {
            frame.status = kReference;
        } else if (!frame.fit && frame.validShare <= kLeastShare) {
            frame.status = "used, though half of its pixels or more disagree";
        }
        all.push_back(frame);
    }
    return all;
}

/// Where the image has no value, all frames are defective there, however well they agree around.
cv::Mat_<uchar> ResultFiles::coverage() const {
    cv::Mat_<uchar> frames;
    if (last_.precise) {
        last_.precise->weight.convertTo(frames, CV_8U);  // to the nearest number of frames
    } else {
        frames = coverageOf(last_.masks);
    }
    frames.setTo(0, valueMask(last_.image) == 0);
    return frames;
}

Report ResultFiles::report(const cv::Mat_<float>& noise, const OutOfRange& outside) const {
    const auto place = std::find(last_.frames.begin(), last_.frames.end(), last_.reference);
    Report r;
    r.reference = last_.inputs.at(static_cast<std::size_t>(place - last_.frames.begin()));
    r.versions = versionFacts();
    r.input = inputFacts(command_, reader_, r.reference.size());
    r.parameters = parameterFacts(command_, last_.parameters);
    r.created = timeNow();
    r.output = command_.output;
    r.unit = unit_;
    r.images = images_;
    r.frames = frames();
    for (const std::size_t number : last_.leftOut) r.leftOut.emplace_back(number, reader_.name(number));
    r.precise = last_.precise;
    r.image = last_.image;
    if (last_.precise || !last_.masks.empty()) r.coverage = coverage();
    r.noise = noise;
    r.seen = seenByCamera(r.image, last_.parameters.psfSigma);
    r.flatBias = FlatBias::of(r.seen, r.reference);
    r.scale = scaleOf(last_.image);
    if (outside.pixels > 0) r.outside = outside;
    r.guards = findings_.all();
    r.stages = last_.stages;
    r.seconds = StopWatch(watch_).stop();
    return r;
}

}  // namespace oravo::tools
