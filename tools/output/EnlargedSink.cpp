#include "tools/output/EnlargedSink.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/Commands.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

void refuseStandardOutput(const EnhanceCommand& command) {
    if (command.parameters.timing) {
        throw UserError(ExitCode::kUsage, "-o -: --timing prints to standard output as well");
    }
    if (::isatty(STDOUT_FILENO) == 1) {
        throw outputError("-o -: standard output is a terminal; send it to a file or a program");
    }
}

}  // namespace

bool isInput(const EnhanceCommand& command, const FrameReader& reader, const std::string& path) {
    const auto is = [&](const std::string& text) { return isSameFile(text, path); };
    return reader.readsFrom(path) || std::any_of(command.calibration.begin(), command.calibration.end(), is);
}

EnlargedSink::EnlargedSink(const EnhanceCommand& command, const FrameReader& reader, std::uint64_t imageBytes,
                           PendingFiles& files)
    : output_(command.output) {
    const bool folder = namesFolder(output_);
    if (folder && !command.every) throw outputError(output_ + ": a folder takes the images of --every");
    if (folder) {
        for (const std::string& input : command.inputs) {
            if (isFolderOf(input, output_)) throw outputError(output_ + ": is a folder of input frames");
        }
        targetFolder_ = std::make_unique<TargetFolder>(output_);
        targetFolder_->reserve();
        refuseFolderOfFrames(output_);
        return;
    }
    if (output_ == kStandardOutput) {
        refuseStandardOutput(command);
    } else {
        checkTarget(output_, {".tif", ".tiff"});
        if (isInput(command, reader, output_)) throw outputError(output_ + ": is one of the inputs");
    }
    pages_ = std::make_unique<TiffPages>(files, output_, imageBytes * (command.every ? reader.count() : 1));
}

void EnlargedSink::add(const cv::Mat& image, std::size_t frame) {
    if (pages_) {
        pages_->add(image);
    } else {
        writeImage((fs::path(output_) / format("frame_%06zu.tif", frame)).string(), image);
    }
    ++count_;
}

void EnlargedSink::close() {
    if (pages_) pages_->close();
}

void EnlargedSink::send() {
    if (pages_) pages_->send();
}

std::string EnlargedSink::name() const {
    return output_ == kStandardOutput ? "standard output" : output_;
}

}  // namespace oravo::tools
