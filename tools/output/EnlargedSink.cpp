#include "tools/output/EnlargedSink.h"

#include <unistd.h>

#include <filesystem>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

void refuseStandardOutput(bool textBeside) {
    if (textBeside) {
        throw UserError(ExitCode::kUsage, "-o -: --timing prints to standard output as well");
    }
    if (::isatty(STDOUT_FILENO) == 1) {
        throw outputError("-o -: standard output is a terminal; send it to a file or a program");
    }
}

}  // namespace

EnlargedSink::EnlargedSink(const EnlargedOutput& output, const InputFiles& inputs, PendingFiles& files)
    : output_(output) {
    if (namesFolder(output.name)) {
        if (!output.every) throw outputError(output.name + ": a folder takes the images of --every");
        folder_ = output.name;
        output_.name = (fs::path(output.name) / (std::string(kNameMark) + ".tif")).string();
    }
    if (output.every && isNamePattern(output_.name)) {
        if (folder_.empty()) folder_ = folderOf(output.name);
        prepareFolder(inputs);
    } else {
        prepareFile(inputs, files);
    }
}

void EnlargedSink::prepareFolder(const InputFiles& inputs) {
    if (inputs.lieIn(folder_)) throw outputError(folder_ + ": is a folder of input frames");
    targetFolder_ = std::make_unique<TargetFolder>(folder_);
    targetFolder_->reserve();
    refuseFolderOfFrames(folder_);
    checkTarget(output_.name, imageExtensions());
}

void EnlargedSink::prepareFile(const InputFiles& inputs, PendingFiles& files) {
    if (output_.name == kStandardOutput) {
        refuseStandardOutput(output_.textBeside);
    } else {
        checkTarget(output_.name, imageExtensions());
        if (inputs.contain(output_.name)) throw outputError(output_.name + ": is one of the inputs");
    }
    const std::size_t images = output_.every ? inputs.frames.count() : 1;
    file_ = makeImageFile(files, output_.name, {output_.every, output_.imageBytes * images, output_.png},
                          stored_);
}

void EnlargedSink::add(const cv::Mat& image, const ImageMetadata& metadata, std::size_t frame) {
    if (file_) {
        file_->add(image, metadata);
    } else {
        PendingFiles files;
        const fs::path pattern(output_.name);
        const std::string name =
            pattern.parent_path() / filledIn(pattern.filename(), format("frame_%06zu", frame));
        const auto file = makeImageFile(files, name, {false, output_.imageBytes, output_.png}, stored_);
        file->add(image, metadata);
        file->close();
        commit(files);
    }
    ++count_;
}

void EnlargedSink::close() {
    if (file_) file_->close();
}

void EnlargedSink::send() {
    if (file_) file_->send();
}

std::string EnlargedSink::name() const {
    if (targetFolder_) return folder_;
    return output_.name == kStandardOutput ? "standard output" : output_.name;
}

}  // namespace oravo::tools
