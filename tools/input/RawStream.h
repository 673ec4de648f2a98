#ifndef ORAVO_TOOLS_INPUT_RAWSTREAM_H
#define ORAVO_TOOLS_INPUT_RAWSTREAM_H

#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/input/FrameReader.h"

namespace oravo::tools {

/// The name that stands for standard input.
constexpr char kStandardInput[] = "-";

/// Whether an input is read as it comes: standard input, also as /dev/stdin unless that is a file, or a named pipe.
bool isStream(const std::string& input);

/// Raw frames out of a pipe, each read once. Failures are UserErrors of one line that name the pipe.
class RawStream {
  public:
    /// Waits for the other end of a named pipe.
    /// @param input  kStandardInput or a path
    RawStream(const std::string& input, const RawFormat& format, const std::optional<cv::Rect>& crop);
    ~RawStream();
    RawStream(const RawStream&) = delete;
    RawStream& operator=(const RawStream&) = delete;

    /// The next frame, or its part, as stored, once all of it is there; nothing at the end. Throws where the stream ends
    /// within a frame.
    std::optional<cv::Mat> next();

    /// Frames so far.
    std::size_t count() const { return count_; }
    /// Of the frames, after the crop.
    cv::Size size() const;
    /// For messages.
    const std::string& name() const { return name_; }

  private:
    std::uint64_t fill();
    void skipHeader();

    std::string name_;
    RawFormat format_;
    std::optional<cv::Rect> crop_;
    FrameLayout layout_;
    int file_ = -1;
    std::vector<char> bytes_;  // of one frame
    std::size_t count_ = 0;
};

}  // namespace oravo::tools

#endif
