#include "tools/formats/JpegMetadata.h"

namespace oravo::tools {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kExif = "Exif\0\0"sv;
constexpr std::string_view kXmp = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view kMoreXmp = "http://ns.adobe.com/xmp/extension/\0"sv;
constexpr std::string_view kResources = "Photoshop 3.0\0"sv;
constexpr std::uint16_t kResourcesTag = 34377;
constexpr unsigned char kStartOfPixels = 0xda;

unsigned byteAt(std::string_view bytes, std::size_t at) {
    return static_cast<unsigned char>(bytes[at]);
}

bool takePrefix(std::string_view& content, std::string_view prefix) {
    if (content.substr(0, prefix.size()) != prefix) return false;
    content.remove_prefix(prefix.size());
    return true;
}

}  // namespace

/// After a mark of two bytes come segments: 0xff, the kind, a length of two bytes that counts itself, the content.
ImageMetadata jpegMetadata(std::string_view file) {
    ImageMetadata found;
    std::string_view exif, xmp, resources;
    for (std::size_t at = 2; at + 4 <= file.size() && byteAt(file, at) == 0xff;) {
        const unsigned kind = byteAt(file, at + 1);
        if (kind == 0xff) {  // fills up
            ++at;
            continue;
        }
        const std::size_t length = byteAt(file, at + 2) << 8 | byteAt(file, at + 3);
        if (kind == kStartOfPixels || length < 2 || length > file.size() - at - 2) break;
        std::string_view content = file.substr(at + 4, length - 2);
        if (exif.empty() && takePrefix(content, kExif)) exif = content;
        if (xmp.empty() && takePrefix(content, kXmp)) xmp = content;
        if (resources.empty() && takePrefix(content, kResources)) resources = content;
        if (takePrefix(content, kMoreXmp)) found.leftOut = {"the extension of XMP"};
        at += 2 + length;
    }
    if (!exif.empty()) {
        ImageMetadata block = readMetadata(exif);
        block.leftOut.insert(block.leftOut.end(), found.leftOut.begin(), found.leftOut.end());
        found = std::move(block);
    }
    if (!xmp.empty()) found.image[tag::kXmp] = {TagType::byte, std::string(xmp)};
    if (!resources.empty()) found.image[kResourcesTag] = {TagType::byte, std::string(resources)};
    return found;
}

}  // namespace oravo::tools
