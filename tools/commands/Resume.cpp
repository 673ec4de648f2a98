#include "tools/commands/Resume.h"

#include <algorithm>
#include <filesystem>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/output/ImageFile.h"

namespace oravo::tools {
namespace {

void requireOneSetOfFiles(const EnhanceCommand& command) {
    for (const std::string& name : {command.output, command.results.preview}) {
        const bool folder = namesFolder(name) || (command.every && isNamePattern(name));
        if (!name.empty() && (name == kStandardOutput || folder)) {
            throw UserError(ExitCode::kUsage,
                            "--resume: needs a file for the images of a recording, not " +
                                (name == kStandardOutput ? "standard output" : "the folder " + name));
        }
    }
}

}  // namespace

std::vector<std::pair<const char*, std::string*>> sideFiles(EnhanceCommand& command) {
    ResultOptions& r = command.results;
    std::vector<std::pair<const char*, std::string*>> all{{"--shifts", &command.shiftsFile},
                                                          {"--preview", &r.preview}};
    for (std::string& coverage : r.coverages) all.emplace_back("--coverage", &coverage);
    for (std::string& noiseMap : r.noiseMaps) all.emplace_back("--noise-map", &noiseMap);
    for (std::string& report : r.reports) all.emplace_back("--report", &report);
    all.erase(std::remove_if(all.begin(), all.end(), [](const auto& o) { return o.second->empty(); }),
              all.end());
    return all;
}

Receipt receiptOf(const EnhanceCommand& command, const InputFiles& inputs) {
    requireOneSetOfFiles(command);
    Order order{command.ordered, command.inputs, inputs.frames.files(), {command.output}};
    std::error_code ignored;
    for (const std::string& name : inputs.others) {  // some of which are numbers
        if (std::filesystem::is_regular_file(name, ignored)) order.inputs.push_back(name);
    }
    EnhanceCommand copy = command;
    for (const auto& [option, file] : sideFiles(copy)) order.outputs.push_back(*file);
    return Receipt(std::move(order));
}

void leaveFinished(const EnhanceCommand& command, ExitCode code) {
    const std::string line = command.output + ": finished before and unchanged since; left as it is";
    if (code != ExitCode::kSuccess) {
        throw UserError(code, line + ". It is not known to be better than bicubic enlargement");
    }
    note(line);
}

}  // namespace oravo::tools
