#ifndef ORAVO_TOOLS_INPUT_FRAMEREADER_H
#define ORAVO_TOOLS_INPUT_FRAMEREADER_H

#include <cstddef>
#include <memory>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/input/FrameSource.h"
#include "tools/input/RadiometricFrames.h"
#include "tools/values/Decode.h"

namespace oravo::tools {

/// How frames are read.
struct ReadOptions {
    std::optional<RawFormat> raw;     ///< every file is a raw dump of this format
    std::optional<cv::Rect> crop;     ///< the part of each frame that is used
    RadiometricConstants given = {};  ///< count in place of those of radiometric files
};

/// Out of "WxH" or "WxH+X+Y", the rectangle's size and its place from the upper left corner. Throws UserError of
/// the usage kind, which names the option.
cv::Rect parseCrop(const std::string& text, const std::string& option = "--crop");

/// The part of an image. Throws UserError, naming the image, where the crop reaches beyond.
cv::Mat cropped(const cv::Mat& image, const std::optional<cv::Rect>& crop, const std::string& name);

/// A burst or recording as a sequence of single-channel frames of one size, out of files of one or more frames
/// (see openFrames) and folders in the order given.
///
/// A folder stands for its image files (.tif, .tiff, .png, .pgm, .npy; hidden files left out) in natural order,
/// without any for its matrices of numbers (.csv, .tsv, .asc, .txt), with a raw format for its raw files (.raw,
/// .bin, .dat), and without any of these for its radiometric JPEG files; when some of their names begin with "frame", for these only, so that a burst may share its
/// folder with its truth. Frames are read when asked for, so that a long recording need not fit into memory.
///
/// Every failure is a UserError of one line that names the file.
class FrameReader {
  public:
    /// Lists the frames. Throws UserError of the usage kind for given constants where no file is radiometric.
    explicit FrameReader(const std::vector<std::string>& inputs, const ReadOptions& options = {});

    std::size_t count() const { return count_; }
    /// File and, in a file of several frames, the page or frame (from 0).
    std::string name(std::size_t index) const;

    /// Where a frame is stored.
    struct Place {
        std::string path;
        std::size_t index;  ///< within its file
        std::size_t count;  ///< of the file's frames
    };
    Place placeOf(std::size_t index) const;

    /// All files that frames come from, in order.
    std::vector<std::string> files() const;

    /// Whether frames come from the file of this name.
    bool readsFrom(const std::string& path) const;

    /// The frame, or its part, as stored: one channel of integers of up to 32 bits, float or double.
    /// Refuses other kinds, sizes that differ from the first frame read, and crops that reach beyond.
    cv::Mat read(std::size_t index);

    /// The first frame, for those who have to know what frames look like before they read them. The next read(0)
    /// returns this image instead of decoding it again.
    const cv::Mat& first();

    /// The first radiometric file; empty where there is none. Its frames are degrees Celsius.
    const std::string& radiometricFile() const { return radiometricFile_; }
    /// How the frames become values: as asked, or, of radiometric files, as they are, in degrees Celsius. Throws UserError of the
    /// usage kind where anything else is asked of these.
    Decode decodeOf(const Decode& asked) const;
    /// Answers for all of these.
    ExifTool& exiftool() const { return *access_.exiftool; }
    /// By which constants the frames that have been read became temperatures.
    const RadiometricRecord& radiometric() const { return radiometric_; }

    /// The size of the first frame read, before the crop; empty where none was.
    cv::Size storedSize() const { return size_; }

  private:
    // One record for each file: a small file may claim any number of frames.
    struct File {
        std::string path;
        std::size_t first;  ///< the recording's number of its first frame
        std::size_t count;  ///< of frames
        const char* unit;   ///< what these are called
    };

    void addFile(const std::string& path);
    void addFolder(const std::string& path);
    std::vector<std::string> frameNames(const std::vector<std::string>& all) const;
    const File& fileOf(std::size_t index) const;
    std::vector<std::string> radiometricNames(const std::string& folder, const std::vector<std::string>& all);
    void refuseUselessConstants() const;
    cv::Mat decode(std::size_t index);

    ReadOptions options_;
    RadiometricAccess access_;
    std::string radiometricFile_;
    RadiometricRecord radiometric_;
    std::vector<File> files_;
    std::size_t count_ = 0;
    cv::Size size_;
    cv::Mat first_;
    std::string openPath_;  // the file of the latest frame, which the next one may share
    std::unique_ptr<FrameSource> open_;
};

/// Refuses a folder that holds images named "frame...": the frames of two runs would mix there, or those of the first
/// be lost.
void refuseFolderOfFrames(const std::string& folder);

/// The only image of a file, under the same rules.
cv::Mat readSingleImage(const std::string& path, const std::optional<RawFormat>& raw = std::nullopt);

}  // namespace oravo::tools

#endif
