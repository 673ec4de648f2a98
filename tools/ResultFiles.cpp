#include "tools/ResultFiles.h"

#include <cmath>
#include <regex>

#include "tools/Agreement.h"
#include "tools/FileNames.h"
#include "tools/ImageWriter.h"
#include "tools/Preview.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

bool isPicture(const std::string& path) {
    return lowerExtension(path) == ".png";
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

ResultFiles::ResultFiles(const ResultOptions& options, const FrameReader& reader) : options_(options) {
    const auto check = [&](const std::string& path, const std::vector<std::string>& extensions) {
        if (path.empty()) return;
        checkTarget(path, extensions);
        if (reader.readsFrom(path)) throw outputError(path + ": is one of the inputs");
    };
    check(options_.preview, {".png"});
    check(options_.coverage, {".tif", ".tiff", ".png"});
    check(options_.noiseMap, {".tif", ".tiff", ".png"});
}

void ResultFiles::take(const Enlarged& enlarged) {
    last_ = enlarged;
}

ColourScale ResultFiles::scaleOf(const cv::Mat_<float>& image) const {
    const Palette palette = paletteNamed(options_.palette);
    if (!options_.range) return ColourScale::of(image, palette);
    return ColourScale::within(options_.range->first, options_.range->second, image, palette);
}

void ResultFiles::write(const std::string& unit, float psfSigma) const {
    if (!options_.preview.empty()) writePreview(unit);
    if (!options_.coverage.empty()) writeCoverage();
    if (!options_.noiseMap.empty()) writeNoiseMap(unit, psfSigma);
}

void ResultFiles::writePreview(const std::string& unit) const {
    writeImage(options_.preview, Preview{scaleOf(last_.image), unit, "", true}.draw(last_.image));
}

void ResultFiles::writeCoverage() const {
    const cv::Mat_<uchar> coverage = coverageOf(last_.masks);
    const bool picture = isPicture(options_.coverage);
    writeImage(options_.coverage,
               picture ? drawCoverage(coverage, static_cast<int>(last_.masks.size())) : cv::Mat(coverage));
}

void ResultFiles::writeNoiseMap(const std::string& unit, float psfSigma) const {
    const cv::Mat_<float> noise = noiseOf({last_.inputs, last_.shifts, last_.masks}, last_.image, psfSigma);
    if (!isPicture(options_.noiseMap)) {
        writeImage(options_.noiseMap, noise);
        return;
    }
    const double kClipped = 1.0;  // percent: a few edges would hide the rest
    const ColourScale scale = ColourScale::of(noise, paletteNamed("inferno"), kClipped);
    writeImage(
        options_.noiseMap,
        Preview{scale, unit, "Noise of the frames at each pixel (standard deviation)", false}.draw(noise));
}

}  // namespace oravo::tools
