#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/Commands.h"
#include "tools/commands/EnhanceSetup.h"
#include "tools/enhance/LiveEnhancer.h"
#include "tools/input/RawStream.h"
#include "tools/input/ValueReader.h"
#include "tools/output/ImageFile.h"
#include "tools/output/RawSink.h"

namespace oravo::tools {
namespace {

UserError usageError(const std::string& message) {
    return {ExitCode::kUsage, message};
}

/// Refuses what has no meaning for a stream, or has to see its end.
void requireStream(const EnhanceCommand& command) {
    if (command.inputs.size() != 1) throw usageError("a pipe is the only input of a run");
    if (!command.reading.raw) {
        throw usageError(
            "frames out of a pipe are raw; --raw states their size and type, such as --raw 640x512:u16le");
    }
    if (!command.every) {
        throw usageError("a pipe has no last frame to wait for; --every makes an image for each");
    }
    if (command.output != kStandardOutput) {
        throw usageError("-o " + command.output +
                         ": images of a pipe go to a pipe, -o -; enhance a file for others");
    }
    const ResultOptions& results = command.results;
    const std::pair<const char*, bool> kOfTheLastImage[] = {{"--shifts", !command.shiftsFile.empty()},
                                                            {"--preview", !results.preview.empty()},
                                                            {"--coverage", !results.coverages.empty()},
                                                            {"--noise-map", !results.noiseMaps.empty()},
                                                            {"--report", !results.reports.empty()}};
    for (const auto& [option, given] : kOfTheLastImage) {
        if (given) throw usageError(std::string(option) + ": a pipe has no last image to write it for");
    }
    if (command.jobs != 0) throw usageError("--jobs: a pipe is one recording");
    if (command.resume) throw usageError("--resume: a pipe is gone once it was read");
    if (command.parameters.timing) throw usageError("--timing: prints to standard output, where images go");
}

PixelFormat outputFormat(const EnhanceCommand& command) {
    const PixelFormat format = command.rawOutput.value_or(command.reading.raw->pixel);
    if (command.calibration.empty() || format.kind == 'f') return format;
    throw usageError(
        "--calibration: gives each pixel a line of its own, by which nobody could read integers; "
        "--raw-output f32le writes temperatures");
}

std::string plural(std::size_t count, const char* one, const char* several) {
    return format("%zu %s", count, count == 1 ? one : several);
}

/// The way of a stream through the enhancer.
class LiveEnhancement {
  public:
    LiveEnhancement(const EnhanceCommand& command, RawStream& stream, const EnhanceParameters& parameters,
                    Findings& findings)
        : stream_(stream),
          findings_(findings),
          format_(outputFormat(command)),
          encoding_(format_.kind == 'f' ? Decode{} : command.decode),
          values_(command.reading.raw->size,
                  valueOptions(command, command.reading.raw->size, "standard input"), findings),
          enhancer_(stream.size(), parameters, findings),
          sink_(format_) {}

    void run() {
        std::exception_ptr failure;
        try {
            while (const std::optional<cv::Mat> stored = stream_.next()) {
                if (!pass(*stored)) break;
            }
        } catch (const UserError&) {
            // What came before was enlarged all the same.
            if (written_ == 0) throw;
            failure = std::current_exception();
        }
        if (stream_.count() == 0) throw inputError(stream_.name() + ": ends before the first frame");
        summarise();
        if (failure) std::rethrow_exception(failure);
        judge();
    }

  private:
    /// False where nobody reads any more.
    bool pass(const cv::Mat& stored) {
        const std::size_t number = stream_.count() - 1;
        const std::string name = format("%s frame %zu", stream_.name().c_str(), number);
        const ValueFrame frame = values_.read(stored, number, name);
        if (frame.outside > 0 && values_.outside().frames == 1) values_.warnOfOutside(number + 1, findings_);
        const LiveEnhancer::Picture picture = enhancer_.next(frame, name);
        readerHasGone_ = !sink_.write(encoding_.stored(picture.image));
        if (readerHasGone_) return false;
        if (sink_.clipped() != 0 && !clippingSaid_) warnOfClipping(number);
        count(picture);
        ++written_;
        return true;
    }

    void warnOfClipping(std::size_t number) {
        clippingSaid_ = true;
        findings_.warn(
            Guard{"clipped", number,
                  format("frame %zu: %zu values of its image lie outside what %s holds and are clipped",
                         number, sink_.clipped(), format_.name().c_str()),
                  "--raw-output takes another type (reported for the first such image only)"});
    }

    void count(const LiveEnhancer::Picture& picture) {
        if (picture.enlarged) {
            ++enlarged_;
            doubtful_ += picture.enlarged->precise && !picture.enlarged->precise->trusted ? 1 : 0;
        }
        repeated_ += picture.origin == LiveEnhancer::Origin::repeated ? 1 : 0;
        interpolated_ += picture.origin == LiveEnhancer::Origin::interpolated ? 1 : 0;
    }

    void summarise() const {
        const cv::Size size = stream_.size() * Pipeline::kFactor;
        std::string line =
            "standard output: " + plural(written_, "image", "images") +
            format(" of %d x %d pixels of %s", size.width, size.height, format_.name().c_str());
        if (interpolated_ != 0) line += format(", %zu enlarged from one frame", interpolated_);
        if (repeated_ != 0) line += format(", %zu repeated", repeated_);
        note(line + enhancer_.skipped() + (readerHasGone_ ? "; its reader has gone" : ""));
    }

    /// Ends the run as that of a recording would end.
    void judge() {
        const std::size_t outside = values_.outside().frames;
        if (outside > 1) values_.warnOfOutside(stream_.count(), findings_);
        if (enlarged_ == 0 && !readerHasGone_) {
            throw UserError(ExitCode::kReconstruction,
                            "no frame could be enlarged together with others" + enhancer_.skipped());
        }
        if (doubtful_ != 0) {
            throw UserError(ExitCode::kDoubtful,
                            format("%zu of %zu image%s not known to be better than bicubic enlargement",
                                   doubtful_, enlarged_, enlarged_ == 1 ? " is" : "s are"));
        }
    }

    RawStream& stream_;
    Findings& findings_;
    PixelFormat format_;
    Decode encoding_;  // whose inverse images are written by
    ValueReader values_;
    LiveEnhancer enhancer_;
    RawSink sink_;
    std::size_t written_ = 0, enlarged_ = 0, repeated_ = 0, interpolated_ = 0, doubtful_ = 0;
    bool readerHasGone_ = false, clippingSaid_ = false;
};

}  // namespace

void enhanceLive(const EnhanceCommand& command) {
    requireStream(command);
    Findings findings(warn);
    EnhanceParameters parameters = withCamera(command, findings);
    settlePipeline(parameters);
    RawStream stream(command.inputs.front(), *command.reading.raw, command.reading.crop);
    requireUsableSize(stream.size(), parameters, stream.name());
    LiveEnhancement(command, stream, parameters, findings).run();
}

}  // namespace oravo::tools
