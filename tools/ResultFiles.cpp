#include "tools/ResultFiles.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <regex>
#include <set>

#include "tools/Agreement.h"
#include "tools/EnlargedSink.h"
#include "tools/FileNames.h"
#include "tools/ImageWriter.h"
#include "tools/Messages.h"
#include "tools/Preview.h"
#include "tools/ReportFacts.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

constexpr double kLeastShare = 0.5;  // of valid pixels, below which the library warns

namespace fs = std::filesystem;

/// One name for one file, there or not.
fs::path settled(const std::string& path) {
    std::error_code failed;
    const fs::path whole = fs::absolute(path, failed);  // a missing file keeps its name as it is written
    const fs::path one = failed ? whole : fs::weakly_canonical(whole, failed);
    return failed ? fs::path(path) : one;
}

bool isPicture(const std::string& path) {
    return lowerExtension(path) == ".png";
}

void writeCoverage(const std::string& path, const cv::Mat_<uchar>& coverage, std::size_t frames) {
    writeImage(path, isPicture(path) ? drawCoverage(coverage, static_cast<int>(frames)) : cv::Mat(coverage));
}

void writeNoiseMap(const std::string& path, const cv::Mat_<float>& noise, const std::string& unit) {
    if (!isPicture(path)) {
        writeImage(path, noise);
        return;
    }
    constexpr double kClipped = 1.0;  // percent: a few edges would hide the rest
    const ColourScale scale = ColourScale::of(noise, paletteNamed("inferno"), kClipped);
    const Preview preview{scale, unit, "Noise of the frames at each pixel (standard deviation)", false};
    writeImage(path, preview.draw(noise));
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

ResultFiles::ResultFiles(const EnhanceCommand& command, const FrameReader& reader)
    : command_(command), options_(command.results), reader_(reader), unit_(unitOf(command)) {
    std::set<fs::path> taken{settled(command.output), settled(command.shiftsFile)};
    const auto check = [&](const std::string& path, const std::vector<std::string>& extensions) {
        if (!wants(path)) return;
        checkTarget(path, extensions);
        if (!taken.insert(settled(path)).second) throw outputError(path + ": is named for two outputs");
        if (isInput(command, reader, path)) throw outputError(path + ": is one of the inputs");
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
    images_.push_back(
        {enlarged.frames.back(), static_cast<double>(enlarged.gain), enlarged.warning, enlarged.seconds});
}

ColourScale ResultFiles::scaleOf(const cv::Mat_<float>& image) const {
    const Palette palette = paletteNamed(options_.palette);
    if (!options_.range) return ColourScale::of(image, palette);
    return ColourScale::within(options_.range->first, options_.range->second, image, palette);
}

void ResultFiles::write() const {
    if (wants(options_.preview)) {
        writeImage(options_.preview, Preview{scaleOf(last_.image), unit_, "", true}.draw(last_.image));
    }
    if (wants(options_.coverage))
        writeCoverage(options_.coverage, coverageOf(last_.masks), last_.masks.size());
    if (!wants(options_.noiseMap) && options_.reports.empty()) return;

    const cv::Mat_<float> noise =
        noiseOf({last_.inputs, last_.shifts, last_.masks}, last_.image, last_.parameters.psfSigma);
    if (wants(options_.noiseMap)) writeNoiseMap(options_.noiseMap, noise, unit_);
    if (options_.reports.empty()) return;
    const Report all = report(noise);
    for (const std::string& path : options_.reports) {
        writeText(path, lowerExtension(path) == ".json" ? jsonReport(all) : htmlReport(all));
    }
}

std::vector<ReportedFrame> ResultFiles::frames() const {
    std::vector<ReportedFrame> all;
    for (std::size_t i = 0; i < last_.frames.size(); ++i) {
        ReportedFrame frame{last_.frames[i], reader_.name(last_.frames[i]), last_.shifts[i],
                            last_.masks.empty() ? std::nan("") : validShare(last_.masks[i]), "used"};
        if (frame.number == last_.reference) {
            frame.status = kReference;
        } else if (frame.validShare <= kLeastShare) {
            frame.status = "used, though half of its pixels or more disagree";
        }
        all.push_back(frame);
    }
    return all;
}

Report ResultFiles::report(const cv::Mat_<float>& noise) const {
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
    r.image = last_.image;
    if (!last_.masks.empty()) r.coverage = coverageOf(last_.masks);
    r.noise = noise;
    r.scale = scaleOf(last_.image);
    r.guards = log_.guards();
    r.stages = last_.stages;
    r.seconds = StopWatch(watch_).stop();
    return r;
}

}  // namespace oravo::tools
