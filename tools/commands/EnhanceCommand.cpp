#include <fstream>
#include <optional>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/Progress.h"
#include "tools/base/TextLines.h"
#include "tools/base/UserError.h"
#include "tools/commands/Commands.h"
#include "tools/commands/EnhanceSetup.h"
#include "tools/commands/ImageNotes.h"
#include "tools/commands/ReportFacts.h"
#include "tools/commands/ResultFiles.h"
#include "tools/commands/Resume.h"
#include "tools/enhance/Reconstructor.h"
#include "tools/formats/NumberText.h"
#include "tools/formats/ShiftTable.h"
#include "tools/input/FrameReader.h"
#include "tools/input/InputFiles.h"
#include "tools/input/ValueReader.h"
#include "tools/output/EnlargedSink.h"
#include "tools/output/ImageWriter.h"

namespace oravo::tools {
namespace {

constexpr char kTableTitle[] = "estimated shifts";
constexpr std::size_t kLongestTitle = 200;

/// Only a table that this program estimated is replaced: shifts.csv beside a burst may hold the truth.
void refuseForeignTable(const std::string& target) {
    std::ifstream file(target);
    std::string line;
    if (file && readLine(file, '\n', kLongestTitle, line) && line.find(kTableTitle) == std::string::npos) {
        throw outputError(target + ": exists, and holds no estimated shifts; it is left alone");
    }
}

EnlargedOutput enlargedOutput(const EnhanceCommand& command, cv::Size size) {
    return {command.output,
            command.every,
            command.parameters.timing,
            sizeof(float) * static_cast<std::uint64_t>(size.area()),
            {command.counts, unitOf(command)}};
}

/// What the precise pipeline found out about the image and the sensor.
std::string preciseSummary(const Enlarged& enlarged, const std::string& unit) {
    const vision::SrPreciseResult& result = *enlarged.precise;
    const std::string inUnit = unit.empty() ? "" : " " + unit;
    std::string line;
    if (const std::optional<double> better = decibelsOverBicubic(result)) {
        line += format("%.1f dB better than bicubic at withheld pixels (%.2g%s against %.2g%s), ", *better,
                       result.withheldError, inUnit.c_str(), result.bicubicError, inUnit.c_str());
    }
    line += format("noise %.2g%s", result.noise, inUnit.c_str());
    const std::size_t dead = result.deadPixels.size();
    if (dead > 0) line += format(", %zu dead pixel%s left out", dead, dead == 1 ? "" : "s");
    if (!result.pattern.empty()) line += ", a fixed pattern subtracted";
    return line;
}

void summarise(const Enlarged& enlarged, const std::string& unit, Findings& findings) {
    if (!enlarged.warning.empty()) {
        findings.warn(Guard{"result", enlarged.newest,
                            format("frame %zu: %s", enlarged.newest, enlarged.warning.c_str()), ""});
    }
    std::string line = format("frames %s: ", ranges(enlarged.frames).c_str());
    if (enlarged.precise) {
        line += preciseSummary(enlarged, unit);
    } else if (enlarged.warning.empty() && enlarged.gain > 0.0f) {
        line += format("gain %.2f", static_cast<double>(enlarged.gain));
    }
    line += line.back() == ' ' ? "shifts" : ", shifts";
    for (const cv::Point2f& d : enlarged.shifts) {
        line += format(" (%.2f, %.2f)", static_cast<double>(d.x), static_cast<double>(d.y));
    }
    note(line);
}

/// How the latest image is stored, where that is as counts.
std::string inWords(const std::optional<StoredCounts>& stored) {
    if (!stored) return {};
    return ", value = " + numberText(stored->scale.offset) + " + " + numberText(stored->scale.scale) +
           " * count";
}

/// The way of a recording through the enhancer.
class Enhancement {
  public:
    Enhancement(const EnhanceCommand& command, FrameReader& reader, const InputFiles& inputs,
                const EnhanceParameters& parameters, cv::Size size, ResultFiles& results,
                const Receipt* receipt, Findings& findings)
        : command_(command),
          reader_(reader),
          findings_(findings),
          recording_(rulesFor(parameters, command.every), findings),
          reconstructor_(makeReconstructor(size, parameters, command.every, findings,
                                           [this](double share) {
                                               if (progress_) progress_->done(share);
                                           })),
          values_(reader.storedSize(), valueOptions(command, reader.storedSize(), reader.name(0)), findings),
          results_(results),
          enlargedSize_(size * Pipeline::kFactor),
          sink_(enlargedOutput(command, enlargedSize_), inputs, files_),
          receipt_(receipt),
          notes_(command, inputs, receipt, findings) {}

    void run() {
        takeAll();
        values_.warnOfOutside(reader_.count(), findings_);
        warnOfConstants(reader_, findings_);
        if (!command_.every) enlargeLast();
        if (sink_.count() == 0) {
            throw UserError(ExitCode::kReconstruction,
                            command_.every
                                ? "no frame could be enlarged; nothing was written" + recording_.skipped()
                                : refusal_);
        }
        // Nothing appears before everything is written.
        sink_.close();
        if (!command_.shiftsFile.empty()) writeText(files_, command_.shiftsFile, shifts_);
        results_.write(files_, values_.outside(), sink_.stored());
        if (receipt_ != nullptr) {
            receipt_->write(files_, doubtful_ == 0 ? ExitCode::kSuccess : ExitCode::kDoubtful);
        }
        sink_.send();
        commit(files_);
        note(format("%s: %zu image%s of %d x %d pixels", sink_.name().c_str(), sink_.count(),
                    sink_.count() == 1 ? "" : "s", enlargedSize_.width, enlargedSize_.height) +
             inWords(sink_.stored()) +
             (withoutValue_ == 0 ? ""
                                 : format(", %zu pixel%s without a value (NaN)", withoutValue_,
                                          withoutValue_ == 1 ? "" : "s")) +
             (without_.empty() ? "" : ", none for frames " + ranges(without_)) + recording_.skipped());
        if (doubtful_ != 0) {
            throw UserError(ExitCode::kDoubtful,
                            format("%zu of %zu image%s not known to be better than bicubic enlargement",
                                   doubtful_, sink_.count(), sink_.count() == 1 ? " is" : "s are"));
        }
    }

  private:
    void takeAll() {
        Progress progress("frame", reader_.count());
        for (std::size_t i = 0; i < reader_.count(); ++i) {
            const bool taken = takeIn(i);
            if (command_.every && i + 1 >= Recording::kEnough) enlargeEach(i, taken);
            progress.done(i + 1);
        }
    }

    bool takeIn(std::size_t index) {
        return recording_.add(values_.read(reader_, index), reader_.name(index));
    }

    /// A frame that was skipped, or comes too soon after a jump, has no image; that was reported when it was found.
    void enlargeEach(std::size_t newest, bool taken) {
        if (taken && recording_.ready()) {
            if (enlarge(newest)) return;
            findings_.warn(refusal_);
        }
        without_.push_back(newest);
    }

    void enlargeLast() {
        if (!recording_.ready()) {
            refusal_ = format("no enlarged image: fewer than %zu frames are left%s (--no-guard keeps all)",
                              Recording::kEnough, recording_.skipped().c_str());
            return;
        }
        progress_.emplace("enlarging");
        enlarge(reader_.count() - 1);
        progress_.reset();
    }

    bool enlarge(std::size_t newest) {
        Refusal refusal;
        const std::optional<Enlarged> enlarged = reconstructor_->run(recording_.latest(), refusal);
        if (!enlarged) {
            refusal_ = format("frame %zu (%s): no enlarged image: %s", newest, reader_.name(newest).c_str(),
                              refusal.reason.c_str());
            return false;
        }
        summarise(*enlarged, unitOf(command_), findings_);
        const ImageMetadata metadata = notes_.of(*enlarged);
        sink_.add(enlarged->image, metadata, newest);
        warnOfClipping(newest);
        results_.take(*enlarged, metadata);
        withoutValue_ += static_cast<std::size_t>(enlarged->withoutValue.total());
        doubtful_ += enlarged->precise && !enlarged->precise->trusted ? 1 : 0;
        shifts_ = shiftTable(enlarged->shifts, enlarged->frames,
                             format("%s in input pixels; frame(p + d) = reference(p); reference is frame %zu",
                                    kTableTitle, enlarged->reference));
        return true;
    }

    void warnOfClipping(std::size_t newest) {
        if (!sink_.stored() || sink_.stored()->clipped == 0) return;
        const StoredCounts& stored = *sink_.stored();
        const double most = stored.scale.offset + stored.scale.scale * CountScale::kMost;
        findings_.warn(Guard{"clipped", newest,
                             format("frame %zu: %zu values of its image lie outside %g to %g and are clipped",
                                    newest, stored.clipped, stored.scale.offset + stored.scale.scale, most),
                             "--output-scale and --output-offset set what 16 bits hold"});
    }

    const EnhanceCommand& command_;
    FrameReader& reader_;
    Findings& findings_;
    Recording recording_;
    std::unique_ptr<Reconstructor> reconstructor_;
    ValueReader values_;
    ResultFiles& results_;
    cv::Size enlargedSize_;
    PendingFiles files_;
    EnlargedSink sink_;
    const Receipt* receipt_;  // goes with the results; null: none
    ImageNotes notes_;
    std::size_t withoutValue_ = 0;      // pixels of all images
    std::size_t doubtful_ = 0;          // images
    std::string shifts_;                // the table of the latest image
    std::string refusal_;               // the latest
    std::optional<Progress> progress_;  // of the only image
    std::vector<std::size_t> without_;  // frames without an image, of --every
};

/// Images that --every makes begin with the fifth frame, whatever the pipeline.
void requireEnoughFrames(const EnhanceCommand& command, std::size_t given) {
    const EnhanceParameters& p = command.parameters;
    const std::size_t needed = command.every ? Recording::kEnough : rulesFor(p, false).least;
    if (given < needed) {
        const std::string name = command.inputs.size() == 1 ? command.inputs.front() + ": " : "";
        throw inputError(name + format("too few frames: %zu given, at least %zu needed", given, needed));
    }
    if (p.kind == PipelineKind::precise && p.referenceIndex &&
        static_cast<std::size_t>(*p.referenceIndex) >= given) {
        throw UserError(ExitCode::kUsage, format("--reference-index %d: only %zu frame%s given",
                                                 *p.referenceIndex, given, given == 1 ? " is" : "s are"));
    }
}

}  // namespace

bool enhance(const EnhanceCommand& asked) {
    FrameReader reader(asked.inputs, asked.reading);
    const EnhanceCommand command = withTemperatures(asked, reader);
    requireEnoughFrames(command, reader.count());
    std::vector<std::string> others = command.calibration;
    for (const std::string& name : command.sensor.names()) others.push_back(name);
    others.push_back(command.defects);
    const InputFiles inputs{reader, command.inputs, others};
    if (!command.shiftsFile.empty()) {
        checkTarget(command.shiftsFile, {".csv", ".txt"});
        if (inputs.contain(command.shiftsFile)) {
            throw outputError(command.shiftsFile + ": is one of the inputs");
        }
        refuseForeignTable(command.shiftsFile);
    }
    Findings findings;
    ResultFiles results(command, inputs, findings);
    std::optional<Receipt> receipt;
    if (command.resume) receipt.emplace(receiptOf(command, inputs));
    if (receipt && receipt->finished()) {
        leaveFinished(command, *receipt->finished());
        return false;
    }
    EnhanceParameters parameters = withCamera(command, findings);
    const cv::Size size = reader.first().size();
    settlePipeline(parameters);
    requireUsableSize(size, parameters, reader.name(0));
    std::optional<Enhancement> enhancement;
    try {
        enhancement.emplace(command, reader, inputs, parameters, size, results, receipt ? &*receipt : nullptr,
                            findings);
    } catch (...) {
        if (!currentExceptionIsLackOfMemory()) throw;
        throw inputError(format("%s: frames of %d x %d pixels need more memory than there is",
                                reader.name(0).c_str(), size.width, size.height));
    }
    note(format("%zu frames of %d x %d pixels", reader.count(), size.width, size.height) +
         radiometricNote(reader.radiometric()));
    enhancement->run();
    return true;
}

}  // namespace oravo::tools
