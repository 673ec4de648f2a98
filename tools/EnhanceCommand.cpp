#include <filesystem>
#include <memory>

#include "capi/CameraDescription.h"
#include "tools/Commands.h"
#include "tools/FileNames.h"
#include "tools/FrameReader.h"
#include "tools/FrameWindow.h"
#include "tools/ImageWriter.h"
#include "tools/Messages.h"
#include "tools/ResultFiles.h"
#include "tools/ShiftTable.h"
#include "tools/UserError.h"
#include "tools/ValueReader.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

constexpr auto kWindow = static_cast<std::size_t>(Enhancer::kWindowSize);

bool namesFolder(const std::string& output) {
    std::error_code ignored;
    return (!output.empty() && output.back() == '/') || fs::is_directory(output, ignored);
}

void refuseInput(const FrameReader& reader, const std::string& target) {
    if (reader.readsFrom(target)) throw outputError(target + ": is one of the inputs");
}

/// Where enlarged images go: one TIFF file with a page for each, or numbered files in a folder.
class EnlargedSink {
  public:
    EnlargedSink(const EnhanceCommand& command, const FrameReader& reader, std::uint64_t imageBytes)
        : output_(command.output) {
        const bool folder = namesFolder(output_);
        if (folder && !command.every) throw outputError(output_ + ": a folder takes the images of --every");
        if (folder) {
            for (const std::string& input : command.inputs) {
                if (isSameFile(input, output_)) throw outputError(output_ + ": is a folder of input frames");
            }
            targetFolder_ = std::make_unique<TargetFolder>(output_);
            return;
        }
        checkTarget(output_, {".tif", ".tiff"});
        refuseInput(reader, output_);
        pages_ = std::make_unique<TiffPages>(output_, imageBytes * (command.every ? reader.count() : 1));
    }

    void add(const cv::Mat& image, std::size_t frame) {
        if (pages_) {
            pages_->add(image);
        } else {
            writeImage((fs::path(output_) / format("frame_%06zu.tif", frame)).string(), image);
        }
        ++count_;
    }

    void finish() {
        if (pages_) pages_->finish();
    }

    std::size_t count() const { return count_; }

  private:
    std::string output_;
    std::unique_ptr<TargetFolder> targetFolder_;  // one of the two
    std::unique_ptr<TiffPages> pages_;
    std::size_t count_ = 0;
};

EnhanceParameters withCamera(const EnhanceCommand& command) {
    EnhanceParameters parameters = command.parameters;
    if (command.camera.empty()) return parameters;
    parameters.psfSigma = capi::psfSigmaOf(command.camera);
    if (parameters.psfSigma == capi::psfSigmaOf("")) {
        warn(format("camera \"%s\": no known model number with a field of view; the default blur is taken",
                    command.camera.c_str()));
    }
    note(format("camera \"%s\": point-spread sigma %g", command.camera.c_str(),
                static_cast<double>(parameters.psfSigma)));
    return parameters;
}

/// The numbers of frames: first to last, or one by one where some are missing.
std::string numbers(const std::vector<std::size_t>& frames) {
    if (frames.back() - frames.front() + 1 == frames.size()) {
        return format("%zu to %zu", frames.front(), frames.back());
    }
    std::string text = std::to_string(frames.front());
    for (std::size_t i = 1; i < frames.size(); ++i) text += ", " + std::to_string(frames[i]);
    return text;
}

void summarise(const Enlarged& enlarged) {
    const std::size_t newest = enlarged.frames.back();
    if (!enlarged.warning.empty())
        warn(Guard{"result", newest, format("frame %zu: %s", newest, enlarged.warning.c_str()), ""});
    std::string line = format("frames %s: ", numbers(enlarged.frames).c_str());
    if (enlarged.warning.empty()) line += format("gain %.2f, ", static_cast<double>(enlarged.gain));
    line += "shifts";
    for (const cv::Point2f& d : enlarged.shifts) {
        line += format(" (%.2f, %.2f)", static_cast<double>(d.x), static_cast<double>(d.y));
    }
    note(line);
}

/// The way of a recording through the enhancer.
class Enhancement {
  public:
    Enhancement(const EnhanceCommand& command, FrameReader& reader, const EnhanceParameters& parameters,
                cv::Size size)
        : command_(command),
          reader_(reader),
          window_(size, parameters, command.every),
          values_(reader, command, size),
          results_(command, reader),
          enlargedSize_(size * Enhancer::kFactor),
          sink_(command, reader, sizeof(float) * static_cast<std::uint64_t>(enlargedSize_.area())) {}

    void run() {
        for (std::size_t i = 0; i < reader_.count(); ++i) {
            const bool taken = takeIn(i);
            if (command_.every && i + 1 >= kWindow) enlargeEach(i, taken);
        }
        if (!command_.every) enlargeLast();
        if (sink_.count() == 0) {
            throw UserError(ExitCode::kReconstruction,
                            command_.every ? "no frame could be enlarged; nothing was written" : refusal_);
        }
        sink_.finish();
        if (!command_.shiftsFile.empty()) writeText(command_.shiftsFile, shifts_);
        results_.write();
        note(format("%s: %zu image%s of %d x %d pixels", command_.output.c_str(), sink_.count(),
                    sink_.count() == 1 ? "" : "s", enlargedSize_.width, enlargedSize_.height) +
             (refused_ == 0 ? "" : format(", %zu frames without one", refused_)) + window_.skipped());
    }

  private:
    bool takeIn(std::size_t index) {
        const ValueReader::Frame frame = values_.read(index);
        // Of an implausible frame the important thing has been said.
        return window_.add(frame.values, reader_.name(index), !frame.plausible);
    }

    /// A frame that was skipped, or stands too near behind a jump, has no image, and that has been said.
    void enlargeEach(std::size_t newest, bool taken) {
        if (!taken || !window_.ready()) {
            ++refused_;
        } else if (!enlarge(newest)) {
            warn(refusal_);
            ++refused_;
        }
    }

    void enlargeLast() {
        if (!window_.ready()) {
            refusal_ = format("no enlarged image: fewer than %zu frames in a row belong together%s", kWindow,
                              window_.skipped().c_str());
            return;
        }
        enlarge(reader_.count() - 1);
    }

    bool enlarge(std::size_t newest) {
        Refusal refusal;
        const std::optional<Enlarged> enlarged = window_.run(refusal);
        if (!enlarged) {
            refusal_ = format("frame %zu (%s): no enlarged image: %s", newest, reader_.name(newest).c_str(),
                              refusal.reason.c_str());
            return false;
        }
        summarise(*enlarged);
        sink_.add(enlarged->image, newest);
        results_.take(*enlarged);
        shifts_ = shiftTable(enlarged->shifts, enlarged->frames,
                             format("estimated shifts in input pixels; frame(p + d) = reference(p); "
                                    "reference is frame %zu",
                                    enlarged->reference));
        return true;
    }

    const EnhanceCommand& command_;
    FrameReader& reader_;
    FrameWindow window_;
    ValueReader values_;
    ResultFiles results_;
    cv::Size enlargedSize_;
    EnlargedSink sink_;
    std::string shifts_;   // the table of the latest image
    std::string refusal_;  // the latest
    std::size_t refused_ = 0;
};

}  // namespace

void enhance(const EnhanceCommand& command) {
    FrameReader reader(command.inputs, command.reading);
    if (reader.count() < kWindow) {
        throw inputError(format("too few frames: %zu given, at least %zu needed", reader.count(), kWindow));
    }
    if (!command.shiftsFile.empty()) {
        checkTarget(command.shiftsFile, {".csv", ".txt"});
        refuseInput(reader, command.shiftsFile);
    }
    const EnhanceParameters parameters = withCamera(command);
    const cv::Size size = reader.read(0).size();
    Enhancement enhancement(command, reader, parameters, size);
    note(format("%zu frames of %d x %d pixels", reader.count(), size.width, size.height));
    enhancement.run();
}

}  // namespace oravo::tools
