#include "tools/commands/DefectsCommand.h"

#include <filesystem>
#include <memory>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/DefectFiles.h"
#include "tools/defects/DefectList.h"
#include "tools/defects/DefectSearch.h"
#include "tools/input/FrameReader.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Decode.h"
#include "vision/superresolution/BadPixel.h"

namespace oravo::tools {
namespace {

namespace fs = std::filesystem;

/// Means of the four replacement pixels, of those that are known and hold values.
cv::Mat repairedFloats(const cv::Mat_<float>& frame, const cv::Mat_<ushort>& rows) {
    cv::Mat_<float> repaired = frame.clone();
    for (int i = 0; i < rows.rows; ++i) {
        double sum = 0.0, count = 0.0;
        for (int c = 2; c < DefectList::kColumns; c += 2) {
            const cv::Point place(rows(i, c), rows(i, c + 1));
            if (place.x >= frame.cols || place.y >= frame.rows || !isValue(frame(place))) continue;
            sum += static_cast<double>(frame(place));
            count += 1.0;
        }
        if (count > 0.0) repaired(rows(i, 1), rows(i, 0)) = static_cast<float>(sum / count);
    }
    return repaired;
}

cv::Mat repairedFrame(const cv::Mat& frame, const cv::Mat_<ushort>& rows) {
    if (frame.depth() == CV_32F) return repairedFloats(frame, rows);
    double most = 0.0;
    cv::minMaxLoc(frame, nullptr, &most);
    ShiftedCounts counts = ShiftedCounts::of(frame, static_cast<int>(most));
    // False only for rows without replacement pixels, which are reported once for the list.
    vision::BadPixel::removeBadPixel(counts.numbers, rows);
    return counts.counts(frame.type());
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
                                            bool onlyTiff) {
    const std::string extension = fs::path(command.output).extension().string();
    if (frames == 1 && !namesFolder(command.output)) {
        if (onlyTiff) {
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

void repairDefects(const RepairDefectsCommand& command) {
    const DefectList list = readDefectList(command.list);
    FrameReader reader(command.frames, command.reading);
    const cv::Mat first = requireRepairable(reader.first(), reader.name(0));
    requireFrameSize(list, command.list, first.size(), reader.name(0));
    if (list.isComplete()) {
        throw inputError(command.list + ": " + kNothingHealthy);
    }
    refuseInput(reader, command.output);
    if (isSameFile(command.list, command.output))
        throw outputError(command.output + ": is the list of bad pixels");
    const std::unique_ptr<TargetFolder> folder =
        prepareTarget(command, reader.count(), first.depth() != CV_16U);
    for (std::size_t i = 0; i < reader.count(); ++i) {
        const std::string path = folder != nullptr
                                     ? (fs::path(command.output) / format("frame_%06zu.tif", i)).string()
                                     : command.output;
        writeImage(path, repairedFrame(requireRepairable(reader.read(i), reader.name(i)), list.rows));
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
