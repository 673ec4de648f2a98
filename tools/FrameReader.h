#ifndef ORAVO_TOOLS_FRAMEREADER_H
#define ORAVO_TOOLS_FRAMEREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tools/TiffFile.h"

namespace oravo::tools {

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
    /// Lists the frames. TIFF files are checked as a whole, others when they are read.
    explicit FrameReader(const std::vector<std::string>& inputs);

    std::size_t count() const { return frames_.size(); }
    /// File and, in a file of several pages, the page (from 0).
    std::string name(std::size_t index) const;

    /// Whether frames come from the file of this name.
    bool readsFrom(const std::string& path) const;

    /// The frame as stored: one channel of 8-bit or 16-bit whole numbers (signed or not), float or double.
    /// Refuses other kinds, and sizes that differ from the first frame read.
    cv::Mat read(std::size_t index);

  private:
    static constexpr std::size_t kNoTiff = SIZE_MAX;
    struct Frame {
        std::string path;
        std::size_t page;  ///< kNoTiff for files of the other formats
        std::size_t pages;
    };

    void addFile(const std::string& path);
    void addFolder(const std::string& path);
    cv::Mat decode(const Frame& frame);

    std::vector<Frame> frames_;
    cv::Size size_;
    std::unique_ptr<TiffReader> tiff_;  // the file of the latest TIFF frame, which the next one may share
};

/// The only image of a file, under the same rules.
cv::Mat readSingleImage(const std::string& path);

}  // namespace oravo::tools

#endif
