#include "tools/formats/ForeignFile.h"

#include <magic.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <memory>

#include "tools/base/FileNames.h"
#include "tools/base/Messages.h"
#include "tools/formats/FrameFile.h"
#include "tools/formats/JpegSegments.h"

namespace oravo::tools {
namespace {

constexpr std::string_view kStandIn = "version https://git-lfs";
constexpr char kRead[] =
    "read are TIFF, PNG, PGM, NumPy arrays, text named .csv, .tsv, .asc or .txt, radiometric JPEGs, videos "
    "of 16-bit grey, "
    "and raw dumps (see --raw)";

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

/// What libmagic says of a file, by its flags; empty where it has no database.
std::string askMagic(const std::string& path, int flags) {
    const std::unique_ptr<magic_set, void (*)(magic_t)> magic(::magic_open(flags), ::magic_close);
    if (!magic || ::magic_load(magic.get(), nullptr) != 0) return {};
    const char* answer = ::magic_file(magic.get(), path.c_str());
    return answer == nullptr ? "" : answer;
}

/// "JPEG image data" of "JPEG image data, JFIF standard 1.01, ..."; empty where nothing is known.
std::string nameOf(const std::string& path) {
    std::string all = askMagic(path, MAGIC_NONE);
    if (startsWith(all, "RIFF") && all.find(", ") != std::string::npos)
        all.erase(0, all.find(", ") + 2);  // a frame of many formats
    const std::string name = all.substr(0, all.find(','));
    return name == "data" ? "" : name;
}

struct Advice {
    std::string_view type;  // or its start, as libmagic has them
    std::string_view what;
};

// In order: the first that fits counts.
constexpr Advice kAdvice[] = {
    {"image/fits", "save its frames as TIFF or as NumPy array (.npy)"},
    {"image/x-exr", "save its values as TIFF of floating point"},
    {"image/jp2", "save its values as TIFF or PNG of 16 bits"},
    {"image/", "a picture for the eye holds colours, not temperatures; "},
    {"video/",
     "where the video holds 16-bit grey, ffmpeg -i IN -c:v ffv1 -level 3 OUT.mkv makes a file that is read; "
     "else "},
    {"audio/", "it holds sound"},
    {"text/html", "a page from the web in place of a file? Fetch the file itself"},
    {"text/", "matrices of numbers are read from files named .csv, .tsv, .asc or .txt"},
    {"application/dicom", "save its frames as TIFF or as NumPy array (.npy)"},
    {"application/x-hdf5", "save its frames as NumPy array (.npy) or TIFF"},
    {"application/x-netcdf", "save its frames as NumPy array (.npy) or TIFF"},
    {"application/x-matlab-data", "save its frames as NumPy array (.npy) or TIFF"},
    {"application/zip", "unpack it first"},
    {"application/gzip", "unpack it first"},
    {"application/x-7z-compressed", "unpack it first"},
    {"application/x-bzip2", "unpack it first"},
    {"application/x-rar", "unpack it first"},
    {"application/x-tar", "unpack it first"},
    {"application/x-xz", "unpack it first"},
    {"application/zstd", "unpack it first"}};

std::string adviceFor(const std::string& type) {
    const auto* const found = std::find_if(std::begin(kAdvice), std::end(kAdvice),
                                           [&](const Advice& a) { return startsWith(type, a.type); });
    if (found == std::end(kAdvice)) return kRead;
    const std::string what(found->what);
    return what.back() == ' ' ? what + kWantedValues : what;
}

/// Bytes of a JPEG file's metadata that are none of the usual kinds: where a camera puts its measured values.
std::size_t unusualMetadata(const std::string& path) {
    constexpr std::array<std::string_view, 6> kUsual{"JFIF",        "Exif",  "http://",
                                                     "ICC_PROFILE", "Adobe", "Photoshop"};
    std::size_t unusual = 0;
    for (const JpegSegment& segment : applicationSegments(path)) {
        const bool usual = std::any_of(kUsual.begin(), kUsual.end(), [&](std::string_view name) {
            return startsWith(segment.start, name);
        });
        if (!usual) unusual += segment.size;
    }
    return unusual;
}

std::string jpegAdvice(const std::string& path) {
    constexpr std::size_t kMany = 8192;
    const std::size_t unusual = unusualMetadata(path);
    if (unusual < kMany) {
        return std::string(
                   "it holds no raw thermal image, only colours for the eye; save radiometric JPEGs in the "
                   "camera, or ") +
               kWantedValues;
    }
    return format(
        "its picture holds colours, but %zu kB of its metadata may hold the temperatures in a form that is "
        "not "
        "read; extract them by the camera's software, and save them as TIFF or PNG of 16 bits",
        unusual / 1000);
}

}  // namespace

bool isNoMatrix(std::string_view start) {
    const std::size_t first = start.find_first_not_of(" \t\r\n");
    const bool markup = first != std::string_view::npos && start[first] == '<';
    return markup || startsWith(start, kStandIn) || startsWith(start, "PK\3\4") || startsWith(start, "%PDF");
}

UserError foreignFile(const std::string& path, std::string_view start, bool namedRaw) {
    if (start.empty()) return inputError(path + ": is empty");
    if (startsWith(start, kStandIn)) {
        return inputError(path + ": is a pointer of Git LFS in place of the file; fetch it by git lfs pull");
    }
    if (lowerExtension(path) == ".npz") {
        return inputError(path +
                          ": is an archive of arrays (.npz); save the one that holds the frames with "
                          "numpy.save, as .npy");
    }
    const std::string name = nameOf(path);
    const std::string type = askMagic(path, MAGIC_MIME_TYPE);
    if (namedRaw && (name.empty() || type == "application/octet-stream" || type == "text/plain")) {
        return inputError(path + ": has no header that is known; --raw tells the format of a dump");
    }
    return inputError(path + ": is of no format that is read" + (name.empty() ? "" : " (" + name + ")") +
                      "; " + (type == "image/jpeg" ? jpegAdvice(path) : adviceFor(type)));
}

std::string kindOfNonFile(const std::string& path) {
    std::error_code failed;
    switch (std::filesystem::status(path, failed).type()) {
        case std::filesystem::file_type::fifo:
            return "a pipe";
        case std::filesystem::file_type::socket:
            return "a socket";
        case std::filesystem::file_type::block:
        case std::filesystem::file_type::character:
            return "a device";
        default:
            return "neither a file nor a folder";
    }
}

}  // namespace oravo::tools
