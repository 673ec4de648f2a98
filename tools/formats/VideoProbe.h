#ifndef ORAVO_TOOLS_FORMATS_VIDEOPROBE_H
#define ORAVO_TOOLS_FORMATS_VIDEOPROBE_H

#include <string>
#include <string_view>
#include <vector>

#include "tools/formats/VideoFile.h"

namespace oravo::tools {

/// The only stream of a video that holds grey without loss. Throws as VideoFile says.
VideoFormat probeVideo(const std::string& path);

/// A command of ffmpeg or ffprobe that reads the file by this demuxer and no other, up to and with the input.
std::vector<std::string> videoCommand(const std::string& program, const std::string& demuxer,
                                      const std::vector<std::string>& options, const std::string& path);

}  // namespace oravo::tools

#endif
