#ifndef ORAVO_TOOLS_FRAMEREADER_H
#define ORAVO_TOOLS_FRAMEREADER_H

#include <cstddef>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace oravo::tools {

/// The order people expect of numbered names: runs of digits compare as numbers, so frame_9 < frame_10.
bool naturallyLess(const std::string& a, const std::string& b);

/// A burst or recording as a sequence of single-channel frames of one size, out of files, multi-page TIFF
/// files and folders in the order given.
///
/// A folder stands for its image files (.tif, .tiff, .png, .pgm; hidden files left out) in natural order;
/// when some of their names begin with "frame", for these only, so that a burst may share its folder with its
/// truth. Frames are read when asked for, so that a long recording need not fit into memory.
///
/// Every failure is a UserError of one line that names the file.
class FrameReader {
  public:
    /// Lists the frames; files are opened only as far as needed to count pages.
    explicit FrameReader(const std::vector<std::string>& inputs);

    std::size_t count() const { return frames_.size(); }
    /// File and, in a file of several pages, the page (from 0).
    std::string name(std::size_t index) const;

    /// The frame as stored: one channel of 8-bit or 16-bit whole numbers (signed or not), float or double.
    /// Refuses other kinds, and sizes that differ from the first frame read.
    cv::Mat read(std::size_t index);

  private:
    struct Frame {
        std::string path;
        int page;
        int pages;
        bool isSigned;
    };

    void addFile(const std::string& path);
    void addFolder(const std::string& path);
    cv::Mat decodePage(const Frame& frame);

    std::vector<Frame> frames_;
    cv::Size size_;
    // Pages of one file are decoded in runs: the codec walks the file from its start at every call.
    std::string cachedPath_;
    int cachedStart_ = 0;
    std::vector<cv::Mat> cachedPages_;
};

/// The only image of a file, under the same rules.
cv::Mat readSingleImage(const std::string& path);

}  // namespace oravo::tools

#endif
