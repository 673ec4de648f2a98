#ifndef ORAVO_TOOLS_DEFECTS_DEFECTLIST_H
#define ORAVO_TOOLS_DEFECTS_DEFECTLIST_H

#include <opencv2/core.hpp>
#include <string>

namespace oravo::tools {

/// The bad pixels of a camera whose frames have one size: rows as vision::BadPixel defines them.
struct DefectList {
    static constexpr int kColumns = 10;

    cv::Size frameSize;
    cv::Mat_<ushort> rows = cv::Mat_<ushort>(0, kColumns);

    /// 8-bit, frame-sized, 255 at the bad pixels.
    cv::Mat_<uchar> mask() const;
    /// Whether it lists every pixel.
    bool isComplete() const;
    /// Rows without replacement pixels: one of theirs lies outside the frame.
    int withoutReplacement() const;
};

/// Comma-separated text: a header line with format and frame size, a line with the names of the columns, then
/// a line for each bad pixel: its position x,y and those of its four replacement pixels. (width, height)
/// stands for a replacement pixel that is not known.
std::string defectTable(const DefectList& list);

/// Reads what defectTable wrote; exactly. Throws UserError with file, line and the value that is wrong.
DefectList readDefectList(const std::string& path);

/// Throws UserError unless the list read from a file is for frames of the given size.
void requireFrameSize(const DefectList& list, const std::string& path, cv::Size size,
                      const std::string& other);

/// Adds the found rows at positions that the list lacks, and chooses the replacement pixels that this calls
/// for (vision::BadPixel::appendBadPixel) no farther away than the radius.
/// @return the number of rows added
int mergeDefects(const cv::Mat_<ushort>& found, DefectList& list, int radius);

}  // namespace oravo::tools

#endif
