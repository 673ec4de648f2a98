#include "tools/output/Receipt.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr int kFormat = 1;

Json jsonOf(const FileState& state) {
    return {{"file", state.file},
            {"size", state.size},
            {"modified", state.modified},
            {"changed", state.changed},
            {"sha256", state.sha256}};
}

Json jsonOf(const std::vector<FileState>& states) {
    Json all = Json::array();
    for (const FileState& state : states) all.push_back(jsonOf(state));
    return all;
}

std::vector<FileState> statesOf(const Json& json) {
    std::vector<FileState> states;
    for (const Json& one : json) {
        states.push_back(
            {one.at("file"), one.at("size"), one.at("modified"), one.at("changed"), one.at("sha256")});
    }
    return states;
}

/// As it comes back from a JSON file: names are bytes, which need not be text.
std::string asText(const std::string& name) {
    return Json::parse(Json(name).dump(-1, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace));
}

std::string absolute(const std::string& name) {
    return fs::absolute(name).lexically_normal().string();
}

/// Results may be moved as a whole: their names are those seen from the receipt's folder.
std::string seenFrom(const std::string& receipt, const std::string& name) {
    const fs::path folder = fs::path(absolute(receipt)).parent_path();
    return asText(fs::path(absolute(name)).lexically_relative(folder).string());
}

/// The state of an output, should it have the content that it was given. A rename changes its time of change.
std::optional<FileState> stillThere(const FileState& made, const std::string& name) {
    FileState now = marksOf(name);
    if (now.size != made.size) return {};
    try {
        now.sha256 = now.modified == made.modified ? made.sha256 : stateOf(name).sha256;
    } catch (const UserError&) {
        return {};
    }
    now.file = made.file;
    return now.sha256 == made.sha256 ? std::optional(now) : std::nullopt;
}

std::vector<FileState>::iterator named(const std::string& file, std::vector<FileState>& states) {
    return std::find_if(states.begin(), states.end(),
                        [&](const FileState& state) { return state.file == file; });
}

}  // namespace

/// The receipt that is there; empty where there is none that can be read.
struct Receipt::Former {
    explicit Former(const std::string& file) {
        std::ifstream stream(file);
        const Json json = Json::parse(stream, nullptr, /*allow_exceptions=*/false);
        try {
            if (json.at("receipt") != kFormat) return;
            version = json.at("version");
            options = json.at("options").get<std::vector<std::string>>();
            recording = json.at("recording").get<std::vector<std::string>>();
            folders = statesOf(json.at("folders"));
            inputs = statesOf(json.at("inputs"));
            outputs = statesOf(json.at("outputs"));
            code = static_cast<ExitCode>(json.at("exit_code").get<int>());
        } catch (const Json::exception&) {
            *this = Former();
        }
    }
    Former() = default;

    std::string version;
    std::vector<std::string> options, recording;
    std::vector<FileState> folders, inputs, outputs;
    ExitCode code = ExitCode::kInternal;
};

Receipt::Receipt(Order order) : order_(std::move(order)), file_(order_.outputs.front() + ".receipt") {
    Former former(file_);
    readInputs(former);
    if (!isCarriedOut(former)) return;
    finished_ = former.code;
    renew(former);
}

/// Those that are known need not be read again.
void Receipt::readInputs(Former& former) {
    for (const std::string& name : order_.inputs) {
        const auto known = named(asText(absolute(name)), former.inputs);
        const bool same = known != former.inputs.end() && isSurelyUnchanged(*known);
        inputs_.push_back(same ? *known : withoutFreshTimes(stateOf(name)));
        inputs_.back().file = asText(inputs_.back().file);
    }
}

std::string Receipt::digestOf(const std::string& input) const {
    const auto found = std::find(order_.inputs.begin(), order_.inputs.end(), input);
    if (found == order_.inputs.end()) return {};
    return inputs_[static_cast<std::size_t>(found - order_.inputs.begin())].sha256;
}

/// Brings the outputs' times up to date.
bool Receipt::isCarriedOut(Former& former) const {
    const auto hasSameContent = [](const FileState& a, const FileState& b) { return a.sha256 == b.sha256; };
    const std::vector<FileState>& read = former.inputs;
    return former.version == ORAVO_VERSION && former.options == order_.options &&
           std::equal(inputs_.begin(), inputs_.end(), read.begin(), read.end(), hasSameContent) &&
           std::all_of(order_.outputs.begin(), order_.outputs.end(), [&](const std::string& name) {
               const auto made = named(seenFrom(file_, name), former.outputs);
               if (made == former.outputs.end()) return false;
               const std::optional<FileState> now = stillThere(*made, name);
               if (now) *made = *now;
               return now.has_value();
           });
}

/// Files that were copied, touched or too fresh had to be read; the next run shall know them by their times.
void Receipt::renew(const Former& former) const {
    const std::string renewed = text(former.outputs, former.code);
    std::ifstream stream(file_);
    if (renewed == std::string{std::istreambuf_iterator<char>(stream), {}}) return;
    try {
        writeText(file_, renewed);
    } catch (const UserError&) {
        return;  // the one that is there holds
    }
}

std::string Receipt::text(const std::vector<FileState>& outputs, ExitCode code) const {
    std::vector<std::string> recording;
    std::vector<FileState> folders;
    std::error_code ignored;
    for (const std::string& name : order_.recording) {
        recording.push_back(asText(absolute(name)));
        if (fs::is_directory(name, ignored)) folders.push_back(withoutFreshTimes(marksOf(name)));
    }
    const Json json{{"receipt", kFormat},        {"version", ORAVO_VERSION},
                    {"options", order_.options}, {"exit_code", static_cast<int>(code)},
                    {"recording", recording},    {"folders", jsonOf(folders)},
                    {"inputs", jsonOf(inputs_)}, {"outputs", jsonOf(outputs)}};
    return json.dump(-1, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace) + '\n';
}

void Receipt::write(PendingFiles& files, ExitCode code) const {
    std::vector<FileState> outputs;
    for (const PendingFile& file : files) {
        FileState state = stateOf(file.path());
        state.file = seenFrom(file_, file.target());
        outputs.push_back(std::move(state));
    }
    writeText(files, file_, text(outputs, code));
}

}  // namespace oravo::tools
