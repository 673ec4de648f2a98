#include <filesystem>
#include <memory>

#include "capi/CameraDescription.h"
#include "tools/Commands.h"
#include "tools/FrameReader.h"
#include "tools/ImageWriter.h"
#include "tools/Messages.h"
#include "tools/ShiftTable.h"
#include "tools/UserError.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

bool namesFolder(const std::string& output) {
    std::error_code ignored;
    return output.back() == '/' || fs::is_directory(output, ignored);
}

/// Where enlarged images go: one file, the pages of one file, or numbered files in a folder.
class EnlargedSink {
  public:
    explicit EnlargedSink(const EnhanceCommand& command)
        : output_(command.output), folder_(command.every && namesFolder(command.output)) {
        if (folder_) {
            makeFolder(output_);
        } else {
            checkTarget(output_, {".tif", ".tiff"});
        }
    }

    void add(const cv::Mat& image, std::size_t frame) {
        if (folder_) {
            const std::string name = format("frame_%06zu.tif", frame);
            writeImage((fs::path(output_) / name).string(), image);
        } else {
            pages_.push_back(image);
        }
        ++count_;
    }

    void finish() {
        if (pages_.size() == 1) {
            writeImage(output_, pages_.front());
        } else if (!pages_.empty()) {
            writePages(output_, pages_);
        }
    }

    std::size_t count() const { return count_; }

  private:
    std::string output_;
    bool folder_;
    std::vector<cv::Mat> pages_;
    std::size_t count_ = 0;
};

/// The classic TIFF container ends at 4 GB, and its pages are kept until all of them are there.
void checkPagesFit(const EnhanceCommand& command, std::size_t frames, cv::Size size) {
    constexpr double kMost = 4.0e9;
    const double bytes = 16.0 * size.area() * static_cast<double>(frames);
    if (command.every && !namesFolder(command.output) && bytes > kMost) {
        throw outputError(command.output +
                          ": so many enlarged frames do not fit into one TIFF file; name a folder "
                          "(ending in /) to get a file for each");
    }
}

/// Says once per recording that values look like something else than the unit expected.
class PlausibilityWatch {
  public:
    PlausibilityWatch(PlausibleRange range, bool rawCounts) : range_(range), rawCounts_(rawCounts) {}

    void look(const cv::Mat_<float>& frame, const std::string& name) {
        if (told_ || range_.shareOutside(frame) <= 0.5) return;
        told_ = true;
        const char* mend = rawCounts_ ? "decode the counts with --scale and --offset"
                                      : "pass --nuc for raw counts, or decode them to degrees with --scale "
                                        "and --offset";
        warn(format("%s: %.0f %% of the pixels lie outside the plausible range %g .. %g; %s", name.c_str(),
                    100.0 * range_.shareOutside(frame), static_cast<double>(range_.lowest),
                    static_cast<double>(range_.highest), mend));
    }

  private:
    PlausibleRange range_;
    bool rawCounts_;
    bool told_ = false;
};

EnhanceParameters withCamera(const EnhanceCommand& command) {
    EnhanceParameters parameters = command.parameters;
    if (command.camera.empty()) return parameters;
    parameters.psfSigma = capi::psfSigmaOf(command.camera);
    note(format("camera \"%s\": point-spread sigma %g", command.camera.c_str(),
                static_cast<double>(parameters.psfSigma)));
    return parameters;
}

void summarise(const Enlarged& enlarged, std::size_t newest) {
    std::string line = format("frame %zu: ", newest);
    if (enlarged.warning.empty()) {
        line += format("gain %.2f, shifts", static_cast<double>(enlarged.gain));
    } else {
        line += "shifts";
    }
    for (const cv::Point2f& d : enlarged.shifts) {
        line += format(" (%.2f, %.2f)", static_cast<double>(d.x), static_cast<double>(d.y));
    }
    note(line);
}

void writeShifts(const EnhanceCommand& command, const std::vector<cv::Point2f>& shifts, std::size_t newest,
                 std::size_t reference) {
    const std::size_t first = newest + 1 - shifts.size();
    writeText(command.shiftsFile,
              shiftTable(shifts, first,
                         format("estimated shifts in input pixels; frame(p + d) = reference(p); reference is "
                                "frame %zu",
                                reference)));
}

}  // namespace

void enhance(const EnhanceCommand& command) {
    FrameReader reader(command.inputs);
    constexpr auto kWindow = static_cast<std::size_t>(Enhancer::kWindowSize);
    if (reader.count() < kWindow) {
        throw inputError(format("too few frames: %zu given, at least %zu needed", reader.count(), kWindow));
    }
    EnlargedSink sink(command);
    if (!command.shiftsFile.empty()) checkTarget(command.shiftsFile, {".csv", ".txt"});

    const EnhanceParameters parameters = withCamera(command);
    const cv::Size size = reader.read(0).size();
    checkPagesFit(command, reader.count(), size);
    note(format("%zu frames of %d x %d pixels", reader.count(), size.width, size.height));
    Enhancer enhancer(size, parameters);
    PlausibilityWatch plausibility(PlausibleRange::of(parameters.rawCounts), parameters.rawCounts);
    std::vector<cv::Point2f> shifts;
    std::size_t shiftsNewest = 0;
    std::size_t shiftsReference = 0;
    std::string lastRefusal;

    for (std::size_t i = 0; i < reader.count(); ++i) {
        const cv::Mat_<float> frame = command.decode(reader.read(i));
        plausibility.look(frame, reader.name(i));
        if (const auto told = enhancer.addFrame(frame)) {
            warn(format("frame %zu (%s) %s", i, reader.name(i).c_str(), told->c_str()));
        }
        const bool last = i + 1 == reader.count();
        if (!enhancer.ready() || !(command.every || last)) continue;
        Refusal refusal;
        const std::optional<Enlarged> enlarged = enhancer.run(refusal);
        if (!enlarged) {
            lastRefusal = format("frame %zu (%s): no enlarged image: %s", i, reader.name(i).c_str(),
                                 refusal.reason.c_str());
            if (command.every) warn(lastRefusal);
            continue;
        }
        if (!enlarged->warning.empty()) warn(format("frame %zu: %s", i, enlarged->warning.c_str()));
        summarise(*enlarged, i);
        sink.add(enlarged->image, i);
        shifts = enlarged->shifts;
        shiftsNewest = i;
        shiftsReference = enhancer.referenceFrame();
    }
    if (sink.count() == 0) {
        throw UserError(ExitCode::kReconstruction,
                        command.every ? "no frame could be enlarged; nothing was written" : lastRefusal);
    }
    sink.finish();
    if (!command.shiftsFile.empty()) writeShifts(command, shifts, shiftsNewest, shiftsReference);
    note(format("%s: %zu image%s of %d x %d pixels", command.output.c_str(), sink.count(),
                sink.count() == 1 ? "" : "s", Enhancer::kFactor * size.width,
                Enhancer::kFactor * size.height));
}

}  // namespace oravo::tools
