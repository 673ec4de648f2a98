#include "tools/commands/DefectsCommand.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/defects/DefectList.h"
#include "tools/defects/DefectSearch.h"
#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"
#include "vision/superresolution/BadPixel.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

constexpr char kNothingHealthy[] =
    "lists every pixel, and no healthy one is left to replace them (are --low and --high right?)";

const cv::Mat& requireCounts(const cv::Mat& frame, const std::string& name) {
    if (frame.depth() != CV_16U && frame.depth() != CV_16S) {
        throw inputError(name + ": holds no counts of 16 bits; bad pixels are sought in raw frames");
    }
    return frame;
}

constexpr std::size_t kMostKept = std::size_t{256} << 20;  // bytes

cv::Mat readCounts(FrameReader& reader, std::size_t index) {
    return requireCounts(reader.read(index), reader.name(index));
}

/// Frames that are looked at twice. Those that there is room for are kept, so that they are decoded once.
class KeptFrames {
  public:
    KeptFrames(FrameReader& reader, std::size_t room) : reader_(reader), room_(room) {}

    std::size_t count() const { return reader_.count(); }
    std::string name(std::size_t index) const { return reader_.name(index); }
    cv::Mat read(std::size_t index) {
        if (index < kept_.size()) return kept_[index];
        cv::Mat frame = readCounts(reader_, index);
        const std::size_t bytes = frame.total() * frame.elemSize();
        // The first one in any case: it is marked in the end.
        if (index == kept_.size() && (index == 0 || bytes <= room_)) {
            room_ -= std::min(bytes, room_);
            kept_.push_back(frame);
        }
        return frame;
    }

  private:
    FrameReader& reader_;
    std::vector<cv::Mat> kept_;
    std::size_t room_;  // bytes
};

/// The largest count of the smallest usual converter that could have given this one.
int fullScale(int count) {
    for (const int bits : {12, 14}) {
        if (count < 1 << bits) return (1 << bits) - 1;
    }
    return 65535;
}

DefectThresholds thresholdsFor(KeptFrames& frames, const DetectDefectsCommand& command) {
    if (command.low && command.high) return {*command.low, *command.high, command.maxCount, command.span};
    double least = 0.0;
    double most = 0.0;
    bool isSigned = false;
    for (std::size_t i = 0; i < frames.count(); ++i) {
        const cv::Mat frame = frames.read(i);
        double frameLeast = 0.0;
        double frameMost = 0.0;
        cv::minMaxLoc(frame, &frameLeast, &frameMost);
        least = std::min(least, frameLeast);
        most = std::max(most, frameMost);
        isSigned |= frame.depth() == CV_16S;
    }
    // Counts below 0 are differences, where neither 0 nor the converter's full scale means anything.
    const int high = least < 0.0 ? 32767 : fullScale(static_cast<int>(most));
    return {command.low.value_or(least < 0.0 ? -32768 : 0),
            command.high.value_or(isSigned ? std::min(high, 32767) : high), command.maxCount, command.span};
}

/// The frame in grey, from the 1st to the 99th percentile of its sound pixels.
cv::Mat_<cv::Vec3b> greyPicture(const cv::Mat& frame, const cv::Mat_<uchar>& defects) {
    cv::Mat_<float> values;
    frame.convertTo(values, CV_32F);
    std::vector<float> sound;
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            if (defects(y, x) == 0) sound.push_back(values(y, x));
        }
    }
    if (sound.empty()) sound.push_back(0.0f);
    std::sort(sound.begin(), sound.end());
    const double dark = static_cast<double>(sound[(sound.size() - 1) / 100]);
    const double bright = static_cast<double>(sound[(sound.size() - 1) * 99 / 100]);
    const double scale = 255.0 / std::max(bright - dark, 1.0);
    cv::Mat levels;
    values.convertTo(levels, CV_8U, scale, -dark * scale);
    cv::Mat_<cv::Vec3b> picture;
    cv::cvtColor(levels, picture, cv::COLOR_GRAY2BGR);
    return picture;
}

/// Enlarged, so that a square fits into the pixel that it marks: in a dense pattern larger ones would hide
/// all.
void writeMarked(const std::string& path, const cv::Mat& frame, const DefectList& list) {
    const int zoom = std::max(frame.cols, frame.rows) <= 2048 ? 4 : 1;
    cv::Mat_<cv::Vec3b> picture;
    cv::resize(greyPicture(frame, list.mask()), picture, {}, zoom, zoom, cv::INTER_NEAREST);
    if (list.rows.rows > 0) {
        cv::Mat centres;
        const int middle = zoom / 2;
        list.rows.convertTo(centres, CV_16U, zoom, middle);
        vision::BadPixel::drawBadPixels(centres, picture, cv::Scalar(0, 0, 255), static_cast<unsigned>(zoom),
                                        false);
    }
    writeImage(path, picture);
}

void summarise(const std::string& path, const DefectList& list, const char* remedy) {
    const double share = 100.0 * list.rows.rows / static_cast<double>(list.frameSize.area());
    note(format("%s: %d bad pixels of %d x %d (%.2f %%)", path.c_str(), list.rows.rows, list.frameSize.width,
                list.frameSize.height, share));
    if (list.isComplete()) {
        warn(path + ": " + kNothingHealthy);
    } else if (const int stranded = list.withoutReplacement()) {
        warn(format("%s: %d bad pixels have no good pixel near enough to replace them; %s", path.c_str(),
                    stranded, remedy));
    }
}

cv::Mat repairedCounts(const cv::Mat& frame, const cv::Mat_<ushort>& rows) {
    double most = 0.0;
    cv::minMaxLoc(frame, nullptr, &most);
    ShiftedCounts counts = ShiftedCounts::of(frame, static_cast<int>(most));
    // False only for rows without replacement pixels, which are reported once for the list.
    vision::BadPixel::removeBadPixel(counts.numbers, rows);
    return counts.counts(frame.type());
}

void refuseInput(const FrameReader& reader, const std::string& target) {
    if (reader.readsFrom(target)) throw outputError(target + ": is one of the inputs");
}

/// Frames are read as others are written: a folder of both could lose some unread.
void refuseFolderOfInputs(const RepairDefectsCommand& command) {
    for (const std::string& input : command.frames) {
        if (isFolderOf(input, command.output)) {
            throw outputError(command.output + ": is the folder of the frames to repair; name another");
        }
    }
}

/// Readies the target: a folder, or nothing where the target is a file.
std::unique_ptr<TargetFolder> prepareTarget(const RepairDefectsCommand& command, std::size_t frames,
                                            bool isSigned) {
    const std::string extension = fs::path(command.output).extension().string();
    if (frames == 1 && !namesFolder(command.output)) {
        if (isSigned) {
            checkTarget(command.output, {".tif", ".tiff"});
        } else {
            checkTarget(command.output, {".tif", ".tiff", ".png"});
        }
        return nullptr;
    }
    if (!namesFolder(command.output) && !extension.empty()) {
        throw outputError(
            format("%s: %zu frames go to a folder; let its name end in /", command.output.c_str(), frames));
    }
    refuseFolderOfInputs(command);
    auto folder = std::make_unique<TargetFolder>(command.output);
    folder->reserve();
    refuseFolderOfFrames(command.output);
    return folder;
}

}  // namespace

void detectDefects(const DetectDefectsCommand& command) {
    checkTarget(command.output, {".csv"});
    if (!command.marked.empty()) checkTarget(command.marked, {".png"});
    FrameReader reader(command.frames, command.reading);
    for (const std::string& target : {command.output, command.marked}) refuseInput(reader, target);
    const bool once = command.low && command.high;
    KeptFrames frames(reader, once ? 0 : kMostKept);
    const DefectThresholds thresholds = thresholdsFor(frames, command);
    note(
        format("out of range: counts up to %d and from %d (--low, --high)", thresholds.low, thresholds.high));
    DefectList list;
    list.frameSize = frames.read(0).size();
    for (std::size_t i = 0; i < frames.count(); ++i) {
        const FoundDefects found = findDefects(frames.read(i), frames.name(i), thresholds);
        const int added = mergeDefects(found.rows, list, command.radius);
        note(format("%s: %d out of range, %d isolated, %d of them new", frames.name(i).c_str(),
                    found.outOfRange, found.isolated(), added));
    }
    writeText(command.output, defectTable(list));
    if (!command.marked.empty()) writeMarked(command.marked, frames.read(0), list);
    summarise(command.output, list, "raise --radius, or look at --low and --high if sound pixels are listed");
}

void repairDefects(const RepairDefectsCommand& command) {
    const DefectList list = readDefectList(command.list);
    FrameReader reader(command.frames, command.reading);
    const cv::Mat first = requireCounts(reader.first(), reader.name(0));
    requireFrameSize(list, command.list, first.size(), reader.name(0));
    if (list.isComplete()) {
        throw inputError(command.list + ": " + kNothingHealthy);
    }
    refuseInput(reader, command.output);
    if (isSameFile(command.list, command.output))
        throw outputError(command.output + ": is the list of bad pixels");
    const std::unique_ptr<TargetFolder> folder =
        prepareTarget(command, reader.count(), first.depth() == CV_16S);
    for (std::size_t i = 0; i < reader.count(); ++i) {
        const std::string path = folder != nullptr
                                     ? (fs::path(command.output) / format("frame_%06zu.tif", i)).string()
                                     : command.output;
        writeImage(path, repairedCounts(readCounts(reader, i), list.rows));
    }
    summarise(command.list, list, "they stay as they are");
    note(format("%s: %zu frame%s repaired", command.output.c_str(), reader.count(),
                reader.count() == 1 ? "" : "s"));
}

void mergeDefectLists(const MergeDefectsCommand& command) {
    checkTarget(command.output, {".csv"});
    const DefectList fresh = readDefectList(command.fresh);
    DefectList list = readDefectList(command.list);
    requireFrameSize(fresh, command.fresh, list.frameSize, command.list);
    if (isSameFile(command.fresh, command.output) && !isSameFile(command.list, command.output)) {
        throw outputError(command.output + ": is the list of new ones; only the running list is replaced");
    }
    const int added = mergeDefects(fresh.rows, list, command.radius);
    note(format("%s: %d of %d bad pixels are new", command.fresh.c_str(), added, fresh.rows.rows));
    writeText(command.output, defectTable(list));
    summarise(command.output, list, "raise --radius");
}

}  // namespace oravo::tools
