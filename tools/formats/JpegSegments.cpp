#include "tools/formats/JpegSegments.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "tools/base/UserError.h"

namespace oravo::tools {
namespace {

constexpr std::string_view kMagic = "\xff\xd8\xff";
constexpr unsigned kMark = 0xff, kFirst = 0xe0, kLast = 0xef, kScan = 0xda;
constexpr std::size_t kStart = 32, kMost = 10000;

struct Header {
    unsigned marker;
    std::size_t length;  ///< of the content; the two bytes of the length itself count in the file
};

/// False where there is no segment.
bool readHeader(std::istream& file, Header& header) {
    std::array<unsigned char, 4> bytes{};
    if (!file.read(reinterpret_cast<char*>(bytes.data()), bytes.size())) return false;
    const std::size_t length = std::size_t{bytes[2]} << 8 | bytes[3];
    if (bytes[0] != kMark || bytes[1] == kScan || length < 2) return false;
    header = {bytes[1], length - 2};
    return true;
}

}  // namespace

bool isJpeg(std::string_view start) {
    return start.substr(0, kMagic.size()) == kMagic;
}

std::vector<JpegSegment> applicationSegments(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) throw inputError(path + ": cannot be opened: " + std::strerror(errno));
    std::array<char, 2> mark{};
    file.read(mark.data(), mark.size());
    std::vector<JpegSegment> segments;
    if (!file || std::string_view(mark.data(), mark.size()) != kMagic.substr(0, mark.size())) return segments;
    for (Header header{}; segments.size() < kMost && readHeader(file, header);) {
        std::string start(std::min(header.length, kStart), '\0');
        if (!file.read(start.data(), static_cast<std::streamsize>(start.size()))) break;
        const auto left = static_cast<std::streamoff>(header.length - start.size());
        if (header.marker >= kFirst && header.marker <= kLast) segments.push_back({start, header.length});
        file.seekg(left, std::ios::cur);
    }
    return segments;
}

}  // namespace oravo::tools
