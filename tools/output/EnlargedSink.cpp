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
    : output_(output.name) {
    const bool folder = namesFolder(output_);
    if (folder && !output.every) throw outputError(output_ + ": a folder takes the images of --every");
    if (folder) {
        if (inputs.lieIn(output_)) throw outputError(output_ + ": is a folder of input frames");
        targetFolder_ = std::make_unique<TargetFolder>(output_);
        targetFolder_->reserve();
        refuseFolderOfFrames(output_);
        return;
    }
    if (output_ == kStandardOutput) {
        refuseStandardOutput(output.textBeside);
    } else {
        checkTarget(output_, {".tif", ".tiff"});
        if (inputs.contain(output_)) throw outputError(output_ + ": is one of the inputs");
    }
    const std::size_t images = output.every ? inputs.frames.count() : 1;
    pages_ = std::make_unique<TiffPages>(files, output_, output.imageBytes * images);
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
