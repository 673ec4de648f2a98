#include "tools/formats/JpegMetadata.h"

#include "tools/formats/JpegSegments.h"

namespace oravo::tools {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kExif = "Exif\0\0"sv;
constexpr std::string_view kXmp = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view kMoreXmp = "http://ns.adobe.com/xmp/extension/\0"sv;
constexpr std::string_view kResources = "Photoshop 3.0\0"sv;
constexpr std::uint16_t kResourcesTag = 34377;
constexpr std::size_t kWhole = 65535;

bool takePrefix(std::string_view& content, std::string_view prefix) {
    if (content.substr(0, prefix.size()) != prefix) return false;
    content.remove_prefix(prefix.size());
    return true;
}

}  // namespace

ImageMetadata jpegMetadata(const std::string& path) {
    const std::vector<JpegSegment> segments = applicationSegments(path, kWhole);
    std::string_view exif, xmp, resources;
    bool moreXmp = false;
    for (const JpegSegment& segment : segments) {
        std::string_view content = segment.start;
        if (exif.empty() && takePrefix(content, kExif)) exif = content;
        if (xmp.empty() && takePrefix(content, kXmp)) xmp = content;
        if (resources.empty() && takePrefix(content, kResources)) resources = content;
        moreXmp = moreXmp || takePrefix(content, kMoreXmp);
    }
    ImageMetadata found;
    if (!exif.empty()) found = readMetadata(exif);
    if (moreXmp) found.leftOut.emplace_back("the extension of XMP");
    if (!xmp.empty()) found.image[tag::kXmp] = {TagType::byte, std::string(xmp)};
    if (!resources.empty()) found.image[kResourcesTag] = {TagType::byte, std::string(resources)};
    return found;
}

}  // namespace oravo::tools
