#include "tools/defects/DefectSearch.h"

#include <algorithm>
#include <limits>

#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/defects/DefectList.h"
#include "vision/superresolution/BadPixel.h"

namespace oravo::tools {
namespace {

constexpr int kLeast = std::numeric_limits<short>::min();
constexpr int kMost = std::numeric_limits<short>::max();

void checkThresholds(const DefectThresholds& t, int offset) {
    if (t.low >= t.high) {
        throw UserError(ExitCode::kUsage, format("--low %d is not below --high %d", t.low, t.high));
    }
    if (t.low < kLeast + offset) {
        throw UserError(ExitCode::kUsage, format("--low %d together with --high %d spans more than 16 bits; "
                                                 "take --low from %d",
                                                 t.low, t.high, kLeast + offset));
    }
    if (t.high > kMost + offset) {
        throw UserError(ExitCode::kUsage, format("--high %d is more than these frames hold; take at most %d",
                                                 t.high, kMost + offset));
    }
}

[[noreturn]] void failSearch(const std::string& name, const DefectThresholds& t, int outOfRange,
                             int capacity) {
    if (outOfRange > capacity) {
        throw UserError(
            ExitCode::kReconstruction,
            format("%s: %d pixels are out of range (at most %d or at least %d), more than the %d that "
                   "one search lists: lower --low or raise --high",
                   name.c_str(), outOfRange, t.low, t.high, capacity));
    }
    throw UserError(
        ExitCode::kReconstruction,
        format("%s: more than %d pixels are out of range or isolated: lower --max-count %d or raise "
               "--span %d",
               name.c_str(), capacity - 1, t.maxCount, t.span));
}

}  // namespace

ShiftedCounts ShiftedCounts::of(const cv::Mat& frame, int highest) {
    ShiftedCounts shifted{{}, frame.depth() == CV_16U && highest > kMost ? kMost + 1 : 0};
    frame.convertTo(shifted.numbers, CV_16S, 1.0, -shifted.offset);
    return shifted;
}

cv::Mat ShiftedCounts::counts(int type) const {
    cv::Mat result;
    numbers.convertTo(result, type, 1.0, offset);
    return result;
}

FoundDefects findDefects(const cv::Mat& frame, const std::string& name, const DefectThresholds& thresholds) {
    const ShiftedCounts counts = ShiftedCounts::of(frame, thresholds.high);
    checkThresholds(thresholds, counts.offset);
    const auto low = static_cast<short>(thresholds.low - counts.offset);
    const auto high = static_cast<short>(thresholds.high - counts.offset);
    // One row to spare: a list that is filled exactly counts as too short.
    constexpr std::size_t kLargest = std::numeric_limits<ushort>::max();
    const auto capacity = static_cast<int>(std::min(frame.total() + 1, kLargest));

    cv::Mat_<int> histogram;
    FoundDefects found{cv::Mat_<ushort>(capacity, DefectList::kColumns), 0};
    if (!vision::BadPixel::buildValueHistogram(counts.numbers, histogram, low, high)) {
        throw inputError(name + ": has too many pixels");
    }
    found.outOfRange = histogram(0) + histogram(histogram.cols - 1);
    if (!vision::BadPixel::performNeighbourSearch(counts.numbers, histogram, found.rows, low, high,
                                                  static_cast<ushort>(thresholds.maxCount),
                                                  static_cast<ushort>(thresholds.span))) {
        failSearch(name, thresholds, found.outOfRange, capacity);
    }
    return found;
}

}  // namespace oravo::tools
