#include "tools/formats/VideoProbe.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iterator>
#include <nlohmann/json.hpp>

#include "tools/base/MemoryCheck.h"
#include "tools/base/Messages.h"
#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

using nlohmann::json;

constexpr std::size_t kStart = 64;
constexpr std::size_t kMostAnswer = std::size_t{1} << 20;

/// ffmpeg's name for the container; empty for none.
std::string demuxerOf(std::string_view start) {
    using namespace std::string_view_literals;
    const auto has = [&](std::size_t at, std::string_view mark) {
        return start.size() >= at && start.substr(at, mark.size()) == mark;
    };
    if (has(0, "\x1a\x45\xdf\xa3"sv)) return "matroska";
    if (has(0, "RIFF"sv) && has(8, "AVI "sv)) return "avi";
    if (has(0, "nut/multimedia container"sv)) return "nut";
    const std::string_view boxes[] = {"ftyp"sv, "moov"sv, "mdat"sv, "wide"sv};
    const bool isBox =
        std::any_of(std::begin(boxes), std::end(boxes), [&](std::string_view box) { return has(4, box); });
    return isBox ? "mov" : "";
}

struct Grey {
    const char* name;  // as ffmpeg calls it
    PixelFormat format;
};

// The low bits of words of 16 bits.
constexpr Grey kGreys[] = {{"gray16le", {'u', 2, false}}, {"gray16be", {'u', 2, true}},
                           {"gray14le", {'u', 2, false}}, {"gray14be", {'u', 2, true}},
                           {"gray12le", {'u', 2, false}}, {"gray12be", {'u', 2, true}},
                           {"gray10le", {'u', 2, false}}, {"gray10be", {'u', 2, true}},
                           {"gray9le", {'u', 2, false}},  {"gray9be", {'u', 2, true}}};

// Codecs that have no lossy mode.
constexpr std::array<std::string_view, 5> kLossless{"ffv1", "rawvideo", "png", "ffvhuff", "magicyuv"};

constexpr char kConversion[] =
    "ffmpeg -i frame_%04d.png -c:v ffv1 -level 3 -pix_fmt gray16le frames.mkv makes a video without loss of "
    "frames of "
    "16 bits";

std::string textOf(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string("unknown");
}

std::uint64_t numberOf(const json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_number_unsigned() ? found->get<std::uint64_t>() : 0;
}

/// What ffprobe says of the streams; anything that it says of errors is one.
json streamsOf(const std::string& path, const std::string& demuxer, std::vector<std::string> options) {
    options.insert(options.end(), {"-of", "json"});
    ChildProcess probe(videoCommand("ffprobe", demuxer, options, path));
    std::string text(kMostAnswer, '\0');
    text.resize(probe.read(text.data(), text.size()));
    const int code = probe.wait();
    const std::string errors = firstComplaint(probe.takeErrors());
    const json all = json::parse(text, nullptr, false);
    if (code != 0 || !errors.empty() || !all.is_object() || !all.contains("streams") ||
        !all["streams"].is_array()) {
        throw inputError(path + ": is damaged or cut short (" + (errors.empty() ? "ffprobe fails" : errors) +
                         "); ffmpeg -i IN -map 0 -c copy OUT keeps the frames that can be read");
    }
    return all["streams"];
}

const Grey* greyNamed(const std::string& pixels) {
    const auto* const grey =
        std::find_if(std::begin(kGreys), std::end(kGreys), [&](const Grey& g) { return pixels == g.name; });
    return grey == std::end(kGreys) ? nullptr : grey;
}

/// Why a stream's pixels are no values; empty where they are.
std::string faultOf(const json& stream) {
    const std::string codec = textOf(stream, "codec_name"), pixels = textOf(stream, "pix_fmt");
    if (pixels == "unknown") return "its video is in " + codec + ", which this ffmpeg cannot decode";
    const std::string what = "its video is " + pixels + " in " + codec;
    if (greyNamed(pixels) == nullptr) {
        const bool eightBits = pixels == "gray";
        return what +
               (eightBits ? ": grey of 8 bits, too coarse for temperatures"
                          : ": colours or grey levels for the eye, not temperatures") +
               ", and what is lost does not come back; record 16-bit grey, or export the frames as TIFF or "
               "PNG of 16 "
               "bits. " +
               kConversion;
    }
    if (std::find(kLossless.begin(), kLossless.end(), codec) != kLossless.end()) return {};
    return what +
           ", a codec that loses values, or may; record without loss, in FFV1 for example. Where it is known "
           "to be "
           "lossless, ffmpeg -i IN -c:v ffv1 -level 3 OUT.mkv makes a file that is read";
}

/// Of several streams, colours beside grey for example, there has to be one whose pixels are values.
json onlyUsable(const json& streams, const std::string& path) {
    std::vector<json> usable;
    std::string fault;
    for (const json& stream : streams) {
        const auto kind = stream.find("disposition");
        const bool isCover = kind != stream.end() && numberOf(*kind, "attached_pic") != 0;
        if (textOf(stream, "codec_type") != "video" || isCover) continue;
        const std::string its = faultOf(stream);
        if (its.empty()) usable.push_back(stream);
        if (fault.empty()) fault = its;
    }
    if (usable.empty()) throw inputError(path + ": " + (fault.empty() ? "holds no video" : fault));
    if (usable.size() > 1) {
        throw inputError(format(
            "%s: holds %zu streams of grey frames; ffmpeg -i IN -map 0:%llu -c copy OUT.mkv takes "
            "out the first of them",
            path.c_str(), usable.size(), static_cast<unsigned long long>(numberOf(usable.front(), "index"))));
    }
    return usable.front();
}

/// What a header says of the number of frames need not be true; the packets that there are count, one for each frame.
std::uint64_t framesOf(const std::string& path, const VideoFormat& video) {
    const json streams = streamsOf(path, video.demuxer,
                                   {"-select_streams", std::to_string(video.stream), "-count_packets",
                                    "-show_entries", "stream=nb_read_packets"});
    // A number as text.
    const std::string count = streams.empty() ? "" : textOf(streams[0], "nb_read_packets");
    const std::uint64_t frames = std::strtoull(count.c_str(), nullptr, 10);
    if (frames == 0) throw inputError(path + ": holds no frames");
    return frames;
}

void requirePrograms(const std::string& path) {
    for (const char* program : {"ffprobe", "ffmpeg"}) {
        if (isInstalled(program)) continue;
        throw inputError(path + ": is a video, which " + program +
                         " reads, and that is not installed (Debian package ffmpeg)");
    }
}

}  // namespace

bool isVideo(std::string_view start) {
    return !demuxerOf(start).empty();
}

std::vector<std::string> videoCommand(const std::string& program, const std::string& demuxer,
                                      const std::vector<std::string>& options, const std::string& path) {
    std::vector<std::string> command{program, "-v", "error"};
    // Lists of edits leave out frames that are there; a demuxer of the file's own choice may read other files.
    if (demuxer == "mov") command.insert(command.end(), {"-ignore_editlist", "1"});
    command.insert(command.end(), {"-f", demuxer});
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"-protocol_whitelist", "file", "-i", "file:" + path});
    return command;
}

VideoFormat probeVideo(const std::string& path) {
    requirePrograms(path);
    const std::string demuxer = demuxerOf(startOfFile(path, kStart));
    const json stream = onlyUsable(
        streamsOf(
            path, demuxer,
            {"-show_entries",
             "stream=index,codec_type,codec_name,pix_fmt,width,height:stream_disposition=attached_pic"}),
        path);
    const std::uint64_t width = numberOf(stream, "width"), height = numberOf(stream, "height");
    if (!isPossibleSize(width, height)) {
        throw inputError(format("%s: its frames of %llu x %llu pixels cannot be", path.c_str(),
                                static_cast<unsigned long long>(width),
                                static_cast<unsigned long long>(height)));
    }
    VideoFormat video;
    video.demuxer = demuxer;
    video.stream = static_cast<int>(numberOf(stream, "index"));
    video.pixelName = textOf(stream, "pix_fmt");
    video.layout.format = greyNamed(video.pixelName)->format;
    video.layout.size = {static_cast<int>(width), static_cast<int>(height)};
    requireMemory(video.layout.size, path);
    video.layout.frames = framesOf(path, video);
    return video;
}

}  // namespace oravo::tools
