#include "tools/commands/ReportFacts.h"

#include <cstdlib>
#include <ctime>
#include <opencv2/core.hpp>

#include "tools/base/Messages.h"

namespace oravo::tools {
namespace {

double asDouble(float value) {
    // The shortest decimal of the float, not the digits that its binary form would add.
    return std::strtod(format("%.7g", static_cast<double>(value)).c_str(), nullptr);
}

std::string sizeText(cv::Size size) {
    return format("%d x %d", size.width, size.height);
}

}  // namespace

std::string unitOf(const EnhanceCommand& command) {
    const bool counts = command.decode.unit.empty() && command.parameters.rawCounts;
    return counts ? "counts" : command.decode.unit;
}

std::vector<Fact> versionFacts() {
    return {{"oravo-superres", std::string(ORAVO_VERSION)},
            {"OpenCV", cv::getVersionString()},
            {"compiler", std::string("GCC " __VERSION__)}};
}

std::vector<Fact> inputFacts(const EnhanceCommand& command, const FrameReader& reader, cv::Size frameSize) {
    std::vector<Fact> facts{{"files", command.inputs},
                            {"frames", static_cast<double>(reader.count())},
                            {"frame-width", static_cast<double>(frameSize.width)},
                            {"frame-height", static_cast<double>(frameSize.height)},
                            {"scale", command.decode.scale},
                            {"offset", command.decode.offset},
                            {"shift-right", static_cast<double>(command.decode.shiftRight)},
                            {"unit", unitOf(command)}};
    if (const std::optional<RawFormat>& raw = command.reading.raw) {
        facts.push_back(
            {"raw", sizeText(raw->size) + ", " + raw->pixel.name() +
                        format(", from byte %llu", static_cast<unsigned long long>(raw->offset))});
    }
    if (const std::optional<cv::Rect>& crop = command.reading.crop) {
        facts.push_back({"crop", sizeText(crop->size()) + format(" at (%d, %d)", crop->x, crop->y)});
    }
    if (const auto& constants = reader.radiometric().first()) {
        facts.push_back({"radiometric", radiometricSummary(*constants)});
    }
    if (!command.sensor.shutter.empty()) facts.push_back({"shutter", command.sensor.shutter});
    if (!command.defects.empty()) facts.push_back({"defects", command.defects});
    if (!command.calibration.empty()) facts.push_back({"calibration", command.calibration});
    return facts;
}

std::vector<Fact> parameterFacts(const EnhanceCommand& command, const EnhanceParameters& p) {
    std::vector<Fact> facts{{"pipeline", nameOf(p.kind)},
                            {"reference-index", static_cast<double>(p.referenceIndex.value_or(0))},
                            {"psf-sigma", asDouble(p.psfSigma)},
                            {"nuc", p.rawCounts}};
    if (p.kind == PipelineKind::precise) {
        facts.push_back({"psf-box", asDouble(p.psfBox)});
        facts.push_back({"frames", static_cast<double>(p.frames)});
        facts.push_back({"smoothness", p.smoothness});
    } else {
        facts.push_back(
            {"registration", std::string(p.registration == Registration::phase ? "phase" : "corners")});
        facts.push_back({"tv-weight", asDouble(p.tvWeight)});
        facts.push_back({"iterations", static_cast<double>(p.iterations)});
        facts.push_back({"relative-residue", asDouble(p.relativeResidue)});
        facts.push_back({"registration-error", asDouble(p.registrationError)});
    }
    if (!command.sensor.pattern.empty()) {
        facts.push_back({"fixed-pattern", command.sensor.pattern});
    } else if (p.kind == PipelineKind::precise) {
        facts.push_back({"fixed-pattern", std::string(p.findPattern ? "auto" : "off")});
    }
    if (!command.camera.empty()) facts.push_back({"camera", command.camera});
    return facts;
}

std::string timeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

}  // namespace oravo::tools
