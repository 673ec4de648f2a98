#ifndef ORAVO_TOOLS_DEFECTS_DEFECTSEARCH_H
#define ORAVO_TOOLS_DEFECTS_DEFECTSEARCH_H

#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// Signed 16-bit numbers, which vision::BadPixel works on, in place of counts: count = number + offset.
struct ShiftedCounts {
    cv::Mat_<short> numbers;
    int offset;

    /// Counts as they are, or less 32768 for a range that reaches above 32767. Counts beyond what is left
    /// become the ends of the range.
    static ShiftedCounts of(const cv::Mat& frame, int highest);
    /// The counts again, in the given type.
    cv::Mat counts(int type) const;
};

/// When a pixel is bad: its count is at most `low`, at least `high`, or isolated: fewer than maxCount pixels
/// of the frame, itself included, have counts from span below to its own, from its own to span above, and
/// within span / 2 on both sides.
struct DefectThresholds {
    int low;
    int high;
    int maxCount;
    int span;
};

struct FoundDefects {
    cv::Mat_<ushort> rows;  ///< the out-of-range pixels first
    int outOfRange;
    int isolated() const { return rows.rows - outOfRange; }
};

/// Searches a 16-bit frame. Throws UserError, naming the option that fixes it, when the thresholds do not fit
/// the frame or more pixels are bad than one search can list.
FoundDefects findDefects(const cv::Mat& frame, const std::string& name, const DefectThresholds& thresholds);

}  // namespace oravo::tools

#endif
