#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/commands/DefectFiles.h"
#include "tools/commands/DefectsCommand.h"
#include "tools/defects/DefectSearch.h"
#include "tools/defects/LocalSearch.h"
#include "tools/defects/MotionSearch.h"
#include "tools/output/ImageWriter.h"
#include "tools/values/Decode.h"

namespace oravo::tools {
namespace {

// Shares of the frames in which a bad pixel is out of range: of the range that was asked for, and of the one that is assumed,
// whose ends parts of a scene may have for a while.
constexpr double kOften = 0.5, kNearlyAlways = 0.95;

constexpr std::size_t kMostKept = std::size_t{256} << 20;  // bytes

/// Frames that are looked at several times. Those that there is room for are kept, so that they are decoded once.
class KeptFrames {
  public:
    explicit KeptFrames(FrameReader& reader) : reader_(reader) {}

    std::size_t count() const { return reader_.count(); }
    std::string name(std::size_t index) const { return reader_.name(index); }
    cv::Size size() { return read(0).size(); }
    cv::Mat read(std::size_t index) {
        const auto kept = kept_.find(index);
        if (kept != kept_.end()) return kept->second;
        cv::Mat frame = reader_.read(index);
        const std::size_t bytes = frame.total() * frame.elemSize();
        // The first one in any case: it is marked in the end.
        if (index == 0 || bytes <= room_) {
            room_ -= std::min(bytes, room_);
            kept_[index] = frame;
        }
        return frame;
    }
    /// Throws UserError unless it holds counts of 16 bits.
    cv::Mat counts(std::size_t index) { return requireCounts(read(index), name(index)); }

  private:
    FrameReader& reader_;
    std::map<std::size_t, cv::Mat> kept_;
    std::size_t room_ = kMostKept;
};

/// The largest count of the smallest usual converter that could have given this one.
int fullScale(int count) {
    for (const int bits : {12, 14}) {
        if (count < 1 << bits) return (1 << bits) - 1;
    }
    return 65535;
}

/// The counts that frames hold, 0 among them.
struct CountRange {
    void add(const cv::Mat& frame) {
        double frameLeast = 0.0, frameMost = 0.0;
        cv::minMaxLoc(frame, &frameLeast, &frameMost);
        least = std::min(least, frameLeast);
        most = std::max(most, frameMost);
        isSigned |= frame.depth() == CV_16S;
    }
    double least = 0.0, most = 0.0;
    bool isSigned = false;
};

DefectThresholds thresholdsFor(const CountRange& counts, const DetectDefectsCommand& command) {
    // Counts below 0 are differences, where neither 0 nor the converter's full scale means anything.
    const int high = counts.least < 0.0 ? 32767 : fullScale(static_cast<int>(counts.most));
    const DefectThresholds chosen{command.low.value_or(counts.least < 0.0 ? -32768 : 0),
                                  command.high.value_or(counts.isSigned ? std::min(high, 32767) : high),
                                  command.maxCount, command.span};
    note(format("out of range: counts up to %d and from %d (--low, --high)", chosen.low, chosen.high));
    return chosen;
}

FrameSequence valuesOf(KeptFrames& kept) {
    return {kept.count(), [&kept](std::size_t index) {
                cv::Mat_<float> values = Decode{}(kept.read(index));
                for (float& value : values) {
                    if (!isValue(value)) value = std::numeric_limits<float>::quiet_NaN();
                }
                return values;
            }};
}

bool holdsCounts(const cv::Mat& frame) {
    return frame.depth() == CV_16U || frame.depth() == CV_16S;
}

DefectList emptyList(cv::Size size) {
    DefectList list;
    list.frameSize = size;
    return list;
}

/// Rows for pixels whose replacements are not known yet.
cv::Mat_<ushort> rowsOf(const std::vector<cv::Point>& pixels, cv::Size size) {
    cv::Mat_<ushort> rows(static_cast<int>(pixels.size()), DefectList::kColumns);
    for (int i = 0; i < rows.rows; ++i) {
        for (int c = 0; c < DefectList::kColumns; c += 2) {
            rows(i, c) = static_cast<ushort>(size.width);
            rows(i, c + 1) = static_cast<ushort>(size.height);
        }
        rows(i, 0) = static_cast<ushort>(pixels[static_cast<std::size_t>(i)].x);
        rows(i, 1) = static_cast<ushort>(pixels[static_cast<std::size_t>(i)].y);
    }
    return rows;
}

/// 255 at pixels that are out of range, or without a value, in at least this share of the frames with these numbers.
cv::Mat_<uchar> mostlyOutOfRange(const FrameSequence& frames, const std::vector<std::size_t>& numbers,
                                 std::pair<double, double> range, double share) {
    cv::Mat_<int> outside;
    for (const std::size_t index : numbers) {
        const cv::Mat_<float> frame = frames.read(index);
        if (outside.empty()) outside = cv::Mat_<int>(frame.size(), 0);
        for (int y = 0; y < frame.rows; ++y) {
            for (int x = 0; x < frame.cols; ++x) {
                const double value = static_cast<double>(frame(y, x));
                if (!(value > range.first && value < range.second)) ++outside(y, x);
            }
        }
    }
    const double enough = std::ceil(share * static_cast<double>(numbers.size()));
    cv::Mat_<uchar> most;
    cv::compare(outside, enough, most, cv::CMP_GE);
    return most;
}

/// What lies in areas is left out: a scene may well fill a part of the frame with the ends of the range, and the middle of
/// that part stays filled however it moves. Lines stay.
std::vector<cv::Point> outsideAreas(const cv::Mat_<uchar>& marked) {
    constexpr int kMostNeighbours = 3;
    std::vector<cv::Point> found;
    for (int y = 0; y < marked.rows; ++y) {
        for (int x = 0; x < marked.cols; ++x) {
            if (marked(y, x) == 0) continue;
            const cv::Rect around = cv::Rect(x - 1, y - 1, 3, 3) & cv::Rect({}, marked.size());
            if (cv::countNonZero(marked(around)) - 1 <= kMostNeighbours) found.emplace_back(x, y);
        }
    }
    return found;
}

std::vector<cv::Point> placesOf(const cv::Mat_<uchar>& marked) {
    std::vector<cv::Point> places;
    if (cv::countNonZero(marked) > 0) cv::findNonZero(marked, places);
    return places;
}

/// Bounds of values that are no counts, where they are given.
std::pair<double, double> givenBounds(const DetectDefectsCommand& command) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    return {command.low ? *command.low : -kInfinity, command.high ? *command.high : kInfinity};
}

std::pair<double, double> boundsFor(KeptFrames& kept, const std::vector<std::size_t>& numbers,
                                    const DetectDefectsCommand& command) {
    if (!holdsCounts(kept.read(0))) return givenBounds(command);
    CountRange counts;
    for (const std::size_t index : numbers) counts.add(kept.counts(index));
    const DefectThresholds chosen = thresholdsFor(counts, command);
    return {chosen.low, chosen.high};
}

/// By how the scene moves over the sensor. Nothing where it does not.
std::optional<DefectList> detectByMotion(KeptFrames& kept, const DetectDefectsCommand& command) {
    const FrameSequence frames = valuesOf(kept);
    const MotionFindings found = findByMotion(frames);
    if (found.moving == 0) return {};
    const bool given = command.low || command.high;
    const cv::Mat_<uchar> marked = mostlyOutOfRange(frames, found.seen, boundsFor(kept, found.seen, command),
                                                    given ? kOften : kNearlyAlways);
    DefectList list = emptyList(kept.size());
    const auto outside = given ? placesOf(marked) : outsideAreas(marked);
    const int outOfRange = mergeDefects(rowsOf(outside, list.frameSize), list, command.radius);
    const int stuck = mergeDefects(rowsOf(found.pixels, list.frameSize), list, command.radius);
    note(
        format("the scene moves by %.2g pixels in %d of %d groups of frames: %d pixels out of range or "
               "without a value, %d more "
               "do not follow it",
               found.movement, found.moving, found.windows, outOfRange, stuck));
    if (found.movement < kAmpleMovement) {
        warn(
            format("the scene moves by %.2g pixels only: bad pixels where it is smooth are missed; move the "
                   "camera more",
                   found.movement));
    }
    return list;
}

/// By the values of each frame on its own.
DefectList detectByCounts(KeptFrames& frames, const DetectDefectsCommand& command) {
    const bool given = command.low && command.high;
    CountRange counts;
    for (std::size_t i = 0; !given && i < frames.count(); ++i) counts.add(frames.counts(i));
    const DefectThresholds thresholds = thresholdsFor(counts, command);
    DefectList list = emptyList(frames.size());
    for (std::size_t i = 0; i < frames.count(); ++i) {
        const FoundDefects found = findDefects(frames.counts(i), frames.name(i), thresholds);
        const int added = mergeDefects(found.rows, list, command.radius);
        note(format("%s: %d out of range, %d isolated, %d of them new", frames.name(i).c_str(),
                    found.outOfRange, found.isolated(), added));
    }
    return list;
}

/// By how pixels stand out from their neighbours.
void detectByNeighbours(KeptFrames& kept, const DetectDefectsCommand& command, DefectList& list) {
    const FrameSequence frames = valuesOf(kept);
    const std::vector<cv::Point> found = findByNeighbours(frames);
    const int added = mergeDefects(rowsOf(found, list.frameSize), list, command.radius);
    note(format("%zu pixels stand out from their neighbours, %d of them new", found.size(), added));
}

DefectList detectWithoutMotion(KeptFrames& kept, const DetectDefectsCommand& command, bool still) {
    const cv::Mat first = kept.read(0);
    if (first.depth() == CV_8U || holdsCounts(first)) {
        DefectList list = detectByCounts(kept, command);
        if (still) detectByNeighbours(kept, command, list);
        return list;
    }
    DefectList list = emptyList(first.size());
    std::vector<std::size_t> all(kept.count());
    std::iota(all.begin(), all.end(), std::size_t{0});
    const cv::Mat_<uchar> marked = mostlyOutOfRange(valuesOf(kept), all, givenBounds(command), kOften);
    const int outside = mergeDefects(rowsOf(placesOf(marked), list.frameSize), list, command.radius);
    note(format("%d pixels without a value, or out of range, in most frames", outside));
    detectByNeighbours(kept, command, list);
    return list;
}

DefectList detectInFrames(KeptFrames& kept, const DetectDefectsCommand& command) {
    const cv::Size size = kept.size();
    const bool many =
        kept.count() >= kFewestForMotion && std::min(size.width, size.height) >= kSmallestForMotion;
    if (command.search == DefectSearchKind::motion && !many) {
        throw inputError(format(
            "%zu frames of %d x %d pixels: --search motion takes %zu frames of %d x %d at least",
            kept.count(), size.width, size.height, kFewestForMotion, kSmallestForMotion, kSmallestForMotion));
    }
    if (command.search == DefectSearchKind::values || !many) return detectWithoutMotion(kept, command, false);
    if (std::optional<DefectList> list = detectByMotion(kept, command)) return *list;
    constexpr char kStill[] = "the scene does not move over the sensor, by a quarter of a pixel or more";
    if (command.search == DefectSearchKind::motion)
        throw inputError(std::string(kStill) + ": --search motion finds nothing");
    warn(std::string(kStill) +
         ": bad pixels are sought by their values alone, so that those with values of the scene are missed "
         "and points of the "
         "scene that are hot or cold by themselves are listed; move the camera");
    return detectWithoutMotion(kept, command, true);
}

}  // namespace

void detectDefects(const DetectDefectsCommand& command) {
    checkTarget(command.output, {".csv"});
    if (!command.marked.empty()) checkTarget(command.marked, {".png"});
    FrameReader reader(command.frames, command.reading);
    for (const std::string& target : {command.output, command.marked}) refuseInput(reader, target);
    KeptFrames kept(reader);
    const DefectList list = detectInFrames(kept, command);
    writeText(command.output, defectTable(list));
    if (!command.marked.empty()) writeMarked(command.marked, kept.read(0), list);
    summarise(command.output, list, "raise --radius, or look at --low and --high if sound pixels are listed");
}

}  // namespace oravo::tools
