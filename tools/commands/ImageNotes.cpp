#include "tools/commands/ImageNotes.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "tools/base/FileNames.h"
#include "tools/base/FileState.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/ReportFacts.h"
#include "tools/formats/CameraTags.h"
#include "tools/output/EnlargedMetadata.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr double kMostWhole = 1e15;  // beyond, integers and other numbers look the same
constexpr char kProgram[] = "oravo-superres " ORAVO_VERSION;

/// Folders say where somebody works, not what was done.
std::string fileName(const std::string& path) {
    return fs::path(path).filename().string();
}

bool isFile(const std::string& name) {
    std::error_code ignored;
    return fs::is_regular_file(name, ignored);
}

Json asJson(const Fact& fact) {
    if (const auto* text = std::get_if<std::string>(&fact.value))
        return isFile(*text) ? fileName(*text) : *text;
    if (const auto* number = std::get_if<double>(&fact.value)) {
        const bool whole = *number == std::floor(*number) && std::abs(*number) < kMostWhole;
        return whole ? Json(static_cast<std::int64_t>(*number)) : Json(*number);
    }
    if (const auto* flag = std::get_if<bool>(&fact.value)) return *flag;
    return std::get<std::vector<std::string>>(fact.value);
}

/// The first few.
std::string inWords(const std::vector<std::string>& parts) {
    constexpr std::size_t kMost = 5;
    std::string text;
    for (std::size_t i = 0; i < std::min(parts.size(), kMost); ++i)
        text += (text.empty() ? "" : ", ") + parts[i];
    return parts.size() <= kMost ? text : text + format(" and %zu more", parts.size() - kMost);
}

/// Arrays and text have none, and neither have pictures of maps.
bool anyFileHasRoom(const EnhanceCommand& command) {
    const auto isArray = [](const std::string& file) {
        return lowerExtension(file) == ".npy" || lowerExtension(file) == ".csv";
    };
    const auto isTiff = [](const std::string& file) {
        return lowerExtension(file) == ".tif" || lowerExtension(file) == ".tiff";
    };
    const ResultOptions& maps = command.results;
    return !isArray(command.output) || std::any_of(maps.coverages.begin(), maps.coverages.end(), isTiff) ||
           std::any_of(maps.noiseMaps.begin(), maps.noiseMaps.end(), isTiff);
}

/// How values were computed, without what the note states elsewhere.
Json parametersOf(const EnhanceCommand& command, const FrameReader& reader, const Enlarged& enlarged) {
    static const std::set<std::string> kElsewhere{"files",   "frames",  "frame-width", "frame-height",
                                                  "shutter", "defects", "calibration"};
    Json all = Json::object();
    for (const Fact& fact : inputFacts(command, reader, enlarged.image.size() / Pipeline::kFactor)) {
        if (kElsewhere.count(fact.name) == 0) all[fact.name] = asJson(fact);
    }
    for (const Fact& fact : parameterFacts(command, enlarged.parameters)) all[fact.name] = asJson(fact);
    return all;
}

}  // namespace

ImageMetadata ImageNotes::of(const Enlarged& enlarged) {
    if (!command_.metadata || !anyFileHasRoom(command_)) return {};
    const EnlargedGrid grid{Pipeline::kFactor,
                            command_.reading.crop ? command_.reading.crop->tl() : cv::Point(),
                            enlarged.image.size()};
    ImageMetadata metadata = onGrid(metadataOf(enlarged.reference), grid);
    addNote(metadata, kProgram,
            format("Enlarged to twice the size out of %zu frames by %s", enlarged.frames.size(), kProgram),
            history(enlarged));
    return metadata;
}

ImageMetadata ImageNotes::metadataOf(std::size_t frame) {
    if (command_.reading.raw) return {};
    const FrameReader::Place place = inputs_.frames.placeOf(frame);
    if (!open_ || openPath_ != place.path) {
        open_.emplace(place.path);
        openPath_ = place.path;
    }
    ImageMetadata metadata = open_->of(place.index);
    if (!inputs_.frames.radiometricFile().empty()) {
        addCameraTags(metadata, place.path, inputs_.frames.exiftool());
    }
    if (!metadata.leftOut.empty() && warned_.insert(place.path).second) {
        const std::string what = inWords(metadata.leftOut);
        findings_.warn(Guard{"metadata", frame,
                             format("frame %zu (%s): metadata that cannot be read are left out: %s", frame,
                                    inputs_.frames.name(frame).c_str(), what.c_str()),
                             ""});
    }
    return metadata;
}

std::string ImageNotes::history(const Enlarged& enlarged) {
    std::vector<std::string> files;
    for (const std::size_t frame : enlarged.frames) files.push_back(inputs_.frames.placeOf(frame).path);
    files.insert(files.end(), inputs_.others.begin(), inputs_.others.end());
    Json read = Json::array();
    std::set<std::string> named;
    for (const std::string& file : files) {
        if (!isFile(file) || !named.insert(file).second) continue;
        read.push_back({{"file", fileName(file)}, {"sha256", digestOf(file)}});
    }
    const Json note{{"program", kProgram},
                    {"enlarged", Pipeline::kFactor},
                    {"frames", enlarged.frames},
                    {"reference", enlarged.reference},
                    {"parameters", parametersOf(command_, inputs_.frames, enlarged)},
                    {"files", read}};
    return note.dump(-1, ' ', /*ensure_ascii=*/true, Json::error_handler_t::replace);
}

/// Empty where the file can be read no more.
const std::string& ImageNotes::digestOf(const std::string& file) {
    const auto [entry, isNew] = digests_.emplace(file, "");
    if (!isNew) return entry->second;
    if (receipt_ != nullptr) entry->second = receipt_->digestOf(file);
    try {
        if (entry->second.empty()) entry->second = stateOf(file).sha256;
    } catch (const UserError&) {
        return entry->second;
    }
    return entry->second;
}

}  // namespace oravo::tools
