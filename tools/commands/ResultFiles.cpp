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
#include "tools/pictures/Preview.h"

namespace oravo::tools {
namespace {

constexpr double kLeastShare = 0.5;          // of valid pixels, below which the library warns
constexpr char kPreviewName[] = "preview_";  // in a folder of them

/// The picture where the file is to be one, else the numbers.
cv::Mat chosen(const std::string& file, const cv::Mat& picture, const cv::Mat& numbers) {
    return lowerExtension(file) == ".png" ? picture : numbers;
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
        checkTarget(path, extensions);
        if (!taken.insert(settledPath(path)).second) throw outputError(path + ": is named for two outputs");
        if (inputs.contain(path)) throw outputError(path + ": is one of the inputs");
    };
    if (!options_.coverages.empty() && command.parameters.kind == PipelineKind::vector) {
        throw UserError(ExitCode::kUsage,
                        "--coverage: the vector pipeline does not report which pixels of a frame agree");
    }
    if (command.every && namesFolder(options_.preview)) {
        checkPreviewFolder(inputs);
    } else if (!options_.preview.empty()) {
        if (namesFolder(options_.preview)) {
            throw outputError(options_.preview + ": a folder takes the previews of --every");
        }
        check(options_.preview, {".png"});
    }
    for (const std::string& path : options_.coverages) check(path, imageExtensions());
    for (const std::string& path : options_.noiseMaps) check(path, imageExtensions());
    for (const std::string& path : options_.reports) check(path, {".json", ".html", ".htm"});
}

/// Pictures of two recordings would mix in one folder, and be read as frames in another.
void ResultFiles::checkPreviewFolder(const InputFiles& inputs) {
    if (inputs.lieIn(options_.preview)) {
        throw outputError(options_.preview + ": is a folder of input frames");
    }
    previews_ = std::make_unique<TargetFolder>(options_.preview);
    for (const auto& entry : std::filesystem::directory_iterator(options_.preview)) {
        if (entry.path().filename().string().rfind(kPreviewName, 0) != 0) continue;
        throw outputError(options_.preview + ": already holds " + entry.path().filename().string() +
                          "; previews of two runs would mix there. Name another folder, or empty this one");
    }
}

void ResultFiles::take(const Enlarged& enlarged, const ImageMetadata& metadata) {
    last_ = enlarged;
    metadata_ = metadata;
    if (previews_) {
        const std::string name = format("%s%06zu.png", kPreviewName, enlarged.newest);
        writeImage((std::filesystem::path(options_.preview) / name).string(), previewOf(enlarged.image));
    }
    images_.push_back({enlarged.newest, static_cast<double>(enlarged.gain),
                       enlarged.precise ? decibelsOverBicubic(*enlarged.precise) : std::nullopt,
                       enlarged.precise && !enlarged.precise->trusted, enlarged.warning,
                       enlarged.withoutValue, enlarged.seconds});
}

ColourScale ResultFiles::scaleOf(const cv::Mat_<float>& image) const {
    const Palette palette = paletteNamed(options_.palette);
    if (!options_.range) return ColourScale::withoutOutliers(image, palette);
    return ColourScale::within(options_.range->first, options_.range->second, image, palette);
}

cv::Mat ResultFiles::previewOf(const cv::Mat_<float>& image) const {
    return Preview{scaleOf(image), unit_, "", true}.draw(image);
}

void ResultFiles::write(PendingFiles& files, const OutOfRange& outside,
                        const std::optional<StoredCounts>& stored) const {
    if (!options_.preview.empty() && !previews_) {
        writeImage(files, options_.preview, previewOf(last_.image));
    }
    const bool wantsDeviation = !options_.noiseMaps.empty() || !options_.reports.empty();
    const cv::Mat_<float> deviation = wantsDeviation ? deviationOf(last_) : cv::Mat_<float>();
    writeMaps(files, deviation);
    if (options_.reports.empty()) return;
    const Report all = report(deviation, outside, stored);
    for (const std::string& path : options_.reports) {
        writeText(files, path, lowerExtension(path) == ".json" ? jsonReport(all) : htmlReport(all));
    }
}

void ResultFiles::writeMaps(PendingFiles& files, const cv::Mat_<float>& deviation) const {
    const int frames = static_cast<int>(last_.frames.size());
    for (const std::string& file : options_.coverages) {
        writeImage(files, file, chosen(file, drawCoverage(coverage(), frames), coverage()), metadata_);
    }
    const char* caption = last_.precise ? "Standard deviation of the image at each pixel"
                                        : "Noise of the frames at each pixel (standard deviation)";
    for (const std::string& file : options_.noiseMaps) {
        writeImage(files, file, chosen(file, pictureOf(deviation, unit_, caption), deviation), metadata_);
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

Report ResultFiles::report(const cv::Mat_<float>& noise, const OutOfRange& outside,
                           const std::optional<StoredCounts>& stored) const {
    Report r;
    r.reference = last_.inputs.at(last_.placeOfReference());
    r.versions = versionFacts();
    r.input = inputFacts(command_, reader_, r.reference.size());
    r.parameters = parameterFacts(command_, last_.parameters);
    if (stored) {
        r.parameters.push_back({"output-scale", stored->scale.scale});
        r.parameters.push_back({"output-offset", stored->scale.offset});
    }
    r.created = timeNow();
    r.output = command_.output;
    r.unit = unit_;
    r.recorded = reader_.count();
    r.mostFrames = last_.precise ? last_.parameters.frames : Pipeline::kWindowSize;
    r.images = images_;
    r.frames = frames();
    for (const std::size_t number : last_.leftOut) {
        r.leftOut.push_back({number, reader_.name(number), "nothing new in common with the reference frame"});
    }
    r.precise = last_.precise;
    r.image = last_.image;
    if (last_.precise || !last_.masks.empty()) r.coverage = coverage();
    r.noise = noise;
    r.seen = seenByCamera(r.image, last_.parameters.blurSpread());
    r.flatBias = FlatBias::of(r.seen, r.reference);
    r.scale = scaleOf(last_.image);
    if (outside.pixels > 0) r.outside = outside;
    r.guards = findings_.all();
    r.stages = last_.stages;
    r.seconds = StopWatch(watch_).stop();
    return r;
}

}  // namespace oravo::tools
