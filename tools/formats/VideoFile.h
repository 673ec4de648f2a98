#ifndef ORAVO_TOOLS_FORMATS_VIDEOFILE_H
#define ORAVO_TOOLS_FORMATS_VIDEOFILE_H

#include <cstddef>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <string_view>

#include "tools/base/ChildProcess.h"
#include "tools/formats/FrameFile.h"

namespace oravo::tools {

/// Whether a file that starts like this is a video container: Matroska, AVI, QuickTime and MP4, NUT.
bool isVideo(std::string_view start);

/// Whether a name of a file is that of a container which can hold such videos.
bool isVideoName(const std::string& name);

/// What a container's frames are.
struct VideoFormat {
    std::string demuxer;    ///< ffmpeg's name of the container
    int stream = 0;         ///< its number in the container
    std::string pixelName;  ///< ffmpeg's name of the pixel format
    FrameLayout layout;     ///< of one decoded frame, and how many there are
};

/// A video whose frames hold grey of 9 to 16 bits without loss, one after the other as ffmpeg decodes them. Memory holds one
/// frame, whatever the length of the video; reading backwards starts over.
class VideoFile {
  public:
    /// Asks ffprobe, which reads the file once. Throws UserError, naming the file, where ffmpeg is not installed, the file is
    /// damaged, or its pixels are colours, of 8 bits or compressed with loss: with what they are and how to convert.
    explicit VideoFile(const std::string& path);
    std::size_t count() const { return static_cast<std::size_t>(format_.layout.frames); }
    /// Counts as stored. Throws UserError, naming the frame, for one that cannot be decoded.
    cv::Mat read(std::size_t index);

  private:
    void start();
    void takeBytes(std::size_t frame);

    std::string path_;
    VideoFormat format_;
    std::unique_ptr<ChildProcess> decoder_;
    std::size_t next_ = 0;  ///< frame that the decoder gives next
    std::string bytes_;     ///< of the latest frame
};

}  // namespace oravo::tools

#endif
