#include "tools/formats/VideoFile.h"

#include <algorithm>
#include <iterator>

#include "tools/base/FileNames.h"
#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"
#include "tools/formats/VideoProbe.h"

namespace oravo::tools {

bool isVideoName(const std::string& name) {
    const std::string extension = lowerExtension(name);
    const char* const all[] = {".mkv", ".avi", ".mov", ".nut"};
    return std::find(std::begin(all), std::end(all), extension) != std::end(all);
}

VideoFile::VideoFile(const std::string& path) : path_(path), format_(probeVideo(path)) {
}

void VideoFile::start() {
    const cv::Size size = format_.layout.size;
    // Frames go through as they are or not at all: none is turned, scaled, converted, doubled or dropped. The filter fails at a
    // frame of another size, the missing conversion at one of other pixels.
    const std::string sameSize =
        format("crop=w='if(eq(iw,%d)*eq(ih,%d),iw,-1)':h=ih", size.width, size.height);
    std::vector<std::string> command =
        videoCommand("ffmpeg", format_.demuxer,
                     {"-nostdin", "-xerror", "-err_detect", "crccheck+explode", "-noautorotate"}, path_);
    command.insert(command.end(), {"-map", "0:" + std::to_string(format_.stream), "-vf", sameSize,
                                   "-noauto_conversion_filters", "-autoscale", "0", "-vsync", "passthrough",
                                   "-pix_fmt", format_.pixelName, "-f", "rawvideo", "pipe:1"});
    decoder_ = std::make_unique<ChildProcess>(command);
    next_ = 0;
}

void VideoFile::takeBytes(std::size_t frame) {
    const std::size_t got = decoder_->read(bytes_.data(), bytes_.size());
    // What ffmpeg can repair it repairs, and says so: such a frame is no measurement.
    const bool ended = got != bytes_.size();
    if (ended) decoder_->wait();
    const std::string errors = firstComplaint(decoder_->takeErrors());
    if (!ended && errors.empty()) return;
    decoder_.reset();
    throw inputError(
        format("%s: decoding fails at frame %zu of %zu, by damage or a change of size or pixel format",
               path_.c_str(), frame, count()) +
        (errors.empty() ? "" : ": " + errors));
}

cv::Mat VideoFile::read(std::size_t index) {
    requireMemory(format_.layout.size, path_);
    bytes_.resize(static_cast<std::size_t>(format_.layout.frameBytes()));
    if (!decoder_ || index < next_) start();
    for (; next_ <= index; ++next_) takeBytes(next_);
    return format_.layout.frame(bytes_.data());
}

}  // namespace oravo::tools
